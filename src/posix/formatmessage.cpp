// FormatMessageW of the subset: the insert syntax, the way Windows fetches insert arguments from an
// array or a va_list, the line width, the subset's own error texts and the result buffer. Typed
// inserts are formatted by the library's UTF-16 printf formatter (compiled into the subset too).
#include "qnutil/posix/formatmessage.h"

#include <stdarg.h>
#include <stdint.h>
#include <string.h>

#include <vector>

#include "qnutil/posix/windows.h"
#include "qnutil/utf16.h"
#include "strings/wformat.h"

namespace {

typedef std::vector<WCHAR> Text;

// Windows refuses a type of more than 30 code units between its marks.
const size_t kMaxTypeLength = 30;
const unsigned kNoBreaks = FORMAT_MESSAGE_MAX_WIDTH_MASK;
const size_t kNone = static_cast<size_t>(-1);

// ---- Arguments

// The values of the inserts, fetched as Windows fetches them. From an array, insert n and its
// stars are simply elements n - 1 onwards. From a va_list, values are read in order and kept: a
// plain insert n reads (pointer-sized) up to the n-th value if it has not been read yet, the n-th
// one 64 bits wide for an I64 type. An insert with stars takes its first star that way, every
// further star as the next value after those kept (kept too), and then the value itself afresh from
// the list, and keeps the value in place of the last one kept. Odd as that is for inserts that come
// out of order, it is what programs written against Windows see, so the subset does the same.
// Values are uint64_t rather than ULONGLONG: the subset gives ULONGLONG Windows' 8-byte alignment,
// which va_arg on i386 must not apply to the list.
class InsertArguments {
 public:
  InsertArguments(va_list *args, bool isArray)
      : m_list(isArray ? nullptr : args), m_array(isArray ? reinterpret_cast<const ULONG_PTR *>(args) : nullptr) {}

  bool Present() const { return m_list != nullptr || m_array != nullptr; }

  // Fills values with the stars of insert n and then its value (count in all); the value is read
  // 64 bits wide when wide is set.
  void Fetch(int n, int count, bool wide, uint64_t *values) {
    if (m_array != nullptr) {
      for (int i = 0; i < count; ++i) values[i] = m_array[n - 1 + i];
      return;
    }
    if (count == 1) {
      values[0] = Kept(n, wide);
      return;
    }
    values[0] = Kept(n, false);
    for (int i = 1; i < count - 1; ++i) values[i] = Kept(static_cast<int>(m_kept.size()) + 1, false);
    values[count - 1] = Read(wide);
    m_kept.back() = values[count - 1];
  }

 private:
  uint64_t Read(bool wide) { return wide ? va_arg(*m_list, uint64_t) : va_arg(*m_list, ULONG_PTR); }

  uint64_t Kept(int n, bool wide) {
    while (static_cast<int>(m_kept.size()) < n) m_kept.push_back(Read(wide && static_cast<int>(m_kept.size()) == n - 1));
    return m_kept[n - 1];
  }

  va_list *m_list;
  const ULONG_PTR *m_array;
  std::vector<uint64_t> m_kept;
};

// ---- Output

// The message as it is written, lines broken to the width of FORMAT_MESSAGE_MAX_WIDTH_MASK.
// Breaking happens after each piece of output: once the line holds width code units or more, the
// line breaks at its last space that came from the message text (with the spaces just before it),
// or else right after the piece. Inserts and escapes are pieces of their own and never split.
class MessageWriter {
 public:
  explicit MessageWriter(unsigned width) : m_width(width) {}

  // A code unit of the message text; its spaces are the places where a line may break.
  void Literal(WCHAR ch) {
    if (ch == ' ') m_space = m_text.size();
    m_text.push_back(ch);
    Appended(1);
  }
  // A line break written in the message text (CR LF, LF or CR).
  void WrittenBreak() {
    if (m_width == 0) {
      Break(u"\r\n", 2);
    } else {
      Literal(' ');
    }
  }
  // Output that no line break may split: an insert, an escape.
  void Piece(const WCHAR *p, size_t n) {
    m_text.insert(m_text.end(), p, p + n);
    Appended(n);
  }
  void Piece(const char16_t *p, size_t n) { Piece(qn::AsU(p), n); }
  // %n and %r: the line starts again.
  void Break(const char16_t *p, size_t n) {
    m_text.insert(m_text.end(), qn::AsU(p), qn::AsU(p) + n);
    m_column = 0;
    m_space = kNone;
  }

  const Text &Result() const { return m_text; }

 private:
  void Appended(size_t n) {
    m_column += n;
    if (m_width == 0 || m_width == kNoBreaks || m_column < m_width) return;
    if (m_space == kNone) {
      Break(u"\r\n", 2);
      return;
    }
    size_t first = m_space;
    while (first > 0 && m_text[first - 1] == ' ') --first;
    m_text.erase(m_text.begin() + static_cast<ptrdiff_t>(first), m_text.begin() + static_cast<ptrdiff_t>(m_space) + 1);
    const WCHAR crlf[] = {'\r', '\n'};
    m_text.insert(m_text.begin() + static_cast<ptrdiff_t>(first), crlf, crlf + 2);
    m_column = m_text.size() - (first + 2);
    m_space = kNone;
  }

  Text m_text;
  unsigned m_width;
  size_t m_column = 0;     // code units since the last line break
  size_t m_space = kNone;  // index of the last breakable space of the line
};

// ---- Typed inserts

enum class Size { Default, Short, Int64, Pointer, Wide, Narrow };

// A printf type between the exclamation marks, taken apart so that the arguments can be fetched
// (how many stars, how wide the value) and handed to the formatter with matching C types.
struct InsertType {
  const WCHAR *flags = nullptr;  // flags, width and precision as written
  size_t cchFlags = 0;
  int stars = 0;
  Size size = Size::Default;
  bool fetch64 = false;          // I64: the value is read 64 bits wide from a va_list
  WCHAR conversion = 0;          // 0: the type ends before any conversion
  const WCHAR *rest = nullptr;   // what follows the conversion, printed as it is
  size_t cchRest = 0;
};

bool IsDigit(WCHAR c) { return c >= '0' && c <= '9'; }

InsertType ParseType(const WCHAR *p, const WCHAR *end) {
  InsertType t;
  t.flags = p;
  while (p < end && (*p == '-' || *p == '+' || *p == ' ' || *p == '#' || *p == '0')) ++p;
  if (p < end && *p == '*') {
    ++t.stars, ++p;
  } else {
    while (p < end && IsDigit(*p)) ++p;
  }
  if (p < end && *p == '.') {
    ++p;
    if (p < end && *p == '*') {
      ++t.stars, ++p;
    } else {
      while (p < end && IsDigit(*p)) ++p;
    }
  }
  t.cchFlags = static_cast<size_t>(p - t.flags);
  auto next = [&](const char *s) {
    const WCHAR *q = p;
    for (; *s != 0; ++s, ++q)
      if (q >= end || *q != static_cast<WCHAR>(*s)) return false;
    p = q;
    return true;
  };
  if (next("I64")) {
    t.size = Size::Int64;
    t.fetch64 = true;
  } else if (next("ll") || next("j")) {
    t.size = Size::Int64;
  } else if (next("I32") || next("l")) {
    t.size = Size::Default;
    if (p < end && (*p == 'c' || *p == 'C' || *p == 's' || *p == 'S')) t.size = Size::Wide;
  } else if (next("I") || next("z") || next("t")) {
    t.size = Size::Pointer;
  } else if (next("hh") || next("h")) {
    t.size = Size::Short;
    if (p < end && (*p == 'c' || *p == 'C' || *p == 's' || *p == 'S')) t.size = Size::Narrow;
  } else if (next("w")) {
    t.size = Size::Wide;
  }
  if (p < end) t.conversion = *p++;
  t.rest = p;
  t.cchRest = static_cast<size_t>(end - p);
  return t;
}

// Appends one conversion (flags, size letters and conversion, without the '%') formatted with the
// stars and the value that follow.
void FormatSpec(Text &out, const WCHAR *spec, size_t cchSpec, ...) {
  WCHAR small[128];
  va_list args;
  va_start(args, cchSpec);
  size_t n = qn::format::FormatSpecW(small, sizeof small / sizeof small[0], spec, cchSpec, &args);
  va_end(args);
  if (n < sizeof small / sizeof small[0]) {
    out.insert(out.end(), small, small + n);
    return;
  }
  std::vector<WCHAR> big(n + 1);
  va_start(args, cchSpec);
  n = qn::format::FormatSpecW(big.data(), big.size(), spec, cchSpec, &args);
  va_end(args);
  out.insert(out.end(), big.data(), big.data() + n);
}

// 8-bit text through the ANSI code page, as Windows' message formatter widens it.
Text Widen(const char *text, int cb) {
  Text wide;
  const int n = MultiByteToWideChar(CP_ACP, 0, text, cb, nullptr, 0);
  if (n <= 0) return wide;
  wide.resize(static_cast<size_t>(n));
  MultiByteToWideChar(CP_ACP, 0, text, cb, wide.data(), n);
  return wide;
}

// Formats insert n with its type into out.
void FormatTyped(const InsertType &t, int n, InsertArguments &args, Text &out) {
  uint64_t v[3] = {0, 0, 0};
  args.Fetch(n, t.stars + 1, t.fetch64, v);
  const int star1 = static_cast<int>(v[0]), star2 = static_cast<int>(v[1]);
  const uint64_t value = v[t.stars];

  // The conversion handed to the formatter: the flags as written, then a size it reads unambiguously.
  Text spec(t.flags, t.flags + t.cchFlags);
  auto format = [&](const char *size, WCHAR conversion, auto arg) {
    for (; *size != 0; ++size) spec.push_back(static_cast<WCHAR>(*size));
    spec.push_back(conversion);
    if (t.stars == 2) {
      FormatSpec(out, spec.data(), spec.size(), star1, star2, arg);
    } else if (t.stars == 1) {
      FormatSpec(out, spec.data(), spec.size(), star1, arg);
    } else {
      FormatSpec(out, spec.data(), spec.size(), arg);
    }
  };
  const bool narrow = t.size == Size::Narrow || (t.size != Size::Wide && (t.conversion == 'S' || t.conversion == 'C'));
  const bool wideInt = t.size == Size::Int64 || (t.size == Size::Pointer && sizeof(void *) == 8);

  switch (t.conversion) {
    case 'd':
    case 'i':
    case 'o':
    case 'u':
    case 'x':
    case 'X':
      if (wideInt) {
        format("ll", t.conversion, static_cast<long long>(value));
      } else {
        format(t.size == Size::Short ? "h" : "", t.conversion, static_cast<int>(value));
      }
      break;
    case 'c':
    case 'C': {
      if (!narrow) {
        format("", 'c', static_cast<int>(static_cast<WCHAR>(value)));
        break;
      }
      const char byte = static_cast<char>(value);
      const Text wide = Widen(&byte, 1);
      format("", 'c', static_cast<int>(wide.empty() ? 0 : wide[0]));
      break;
    }
    case 's':
    case 'S': {
      const void *text = reinterpret_cast<const void *>(static_cast<ULONG_PTR>(value));
      if (!narrow || text == nullptr) {
        format("", 's', static_cast<const WCHAR *>(text));
        break;
      }
      Text wide = Widen(static_cast<const char *>(text), -1);
      if (wide.empty()) wide.push_back(0);
      format("", 's', static_cast<const WCHAR *>(wide.data()));
      break;
    }
    case 'p':
      format("", 'p', reinterpret_cast<const void *>(static_cast<ULONG_PTR>(value)));
      break;
    case 0:
      break;  // a type without a conversion prints nothing
    default:
      // Floating point is not supported, as on Windows, and an unknown conversion prints itself:
      // either way the conversion letter stands alone.
      out.push_back(t.conversion);
      break;
  }
  out.insert(out.end(), t.rest, t.rest + t.cchRest);
}

// ---- The message text

// Writes insert n at p (just after its digits, where a type may follow); answers where the text
// goes on, or nullptr with the last error set.
const WCHAR *Insert(int n, const WCHAR *p, InsertArguments &args, MessageWriter &writer) {
  static const WCHAR kText[] = {'s'};
  const WCHAR *type = kText, *typeEnd = kText + 1;
  if (*p == '!') {
    const WCHAR *close = p + 1;
    while (*close != 0 && *close != '!') ++close;
    if (*close == 0 || static_cast<size_t>(close - (p + 1)) > kMaxTypeLength) {
      SetLastError(ERROR_INVALID_PARAMETER);
      return nullptr;
    }
    type = p + 1, typeEnd = close;
    p = close + 1;
  }
  if (!args.Present()) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  Text text;
  FormatTyped(ParseType(type, typeEnd), n, args, text);
  writer.Piece(text.data(), text.size());
  return p;
}

// Formats the message text into the writer; false, with the last error set, for a malformed text.
bool FormatText(const WCHAR *p, bool ignoreInserts, InsertArguments &args, MessageWriter &writer) {
  while (*p != 0) {
    if (*p == '\r' || *p == '\n') {
      p += (p[0] == '\r' && p[1] == '\n') ? 2 : 1;
      writer.WrittenBreak();
      continue;
    }
    if (*p != '%') {
      writer.Literal(*p++);
      continue;
    }
    const WCHAR e = p[1];
    if (e == 0) {
      SetLastError(ERROR_INVALID_PARAMETER);
      return false;
    }
    if (e == '0') return true;
    if (e == 'n' || e == 'r' || e == 't') {
      if (e == 'n') writer.Break(u"\r\n", 2);
      if (e == 'r') writer.Break(u"\r", 1);
      if (e == 't') writer.Piece(u"\t", 1);
      p += 2;
    } else if (ignoreInserts) {
      writer.Piece(p, 2);
      p += 2;
    } else if (IsDigit(e)) {
      int n = e - '0';
      p += 2;
      if (IsDigit(*p)) n = n * 10 + (*p++ - '0');
      p = Insert(n, p, args, writer);
      if (p == nullptr) return false;
    } else {
      writer.Piece(p + 1, 1);
      p += 2;
    }
  }
  return true;
}

// ---- The subset's error texts

struct SystemMessage {
  DWORD code;
  const char16_t *text;
};

// One sentence each, in the subset's own words; Windows ends its system texts with CR LF too.
const SystemMessage kSystemMessages[] = {
    {ERROR_SUCCESS, u"The operation succeeded.\r\n"},
    {ERROR_INVALID_FUNCTION, u"The function is not valid here.\r\n"},
    {ERROR_FILE_NOT_FOUND, u"No file has that name.\r\n"},
    {ERROR_PATH_NOT_FOUND, u"No directory on the path has that name.\r\n"},
    {ERROR_TOO_MANY_OPEN_FILES, u"The process has too many files open.\r\n"},
    {ERROR_ACCESS_DENIED, u"Access was refused.\r\n"},
    {ERROR_INVALID_HANDLE, u"The handle is not valid.\r\n"},
    {ERROR_NOT_ENOUGH_MEMORY, u"There is not enough memory for this operation.\r\n"},
    {ERROR_INVALID_DATA, u"The data is not valid.\r\n"},
    {ERROR_OUTOFMEMORY, u"Memory ran out before the operation could finish.\r\n"},
    {ERROR_NOT_SAME_DEVICE, u"The file cannot move to another device this way.\r\n"},
    {ERROR_WRITE_PROTECT, u"The medium cannot be written.\r\n"},
    {ERROR_NOT_READY, u"The device is not ready.\r\n"},
    {ERROR_GEN_FAILURE, u"A device attached to the system failed.\r\n"},
    {ERROR_SHARING_VIOLATION, u"Another handle holds the file without sharing it this way.\r\n"},
    {ERROR_LOCK_VIOLATION, u"Another handle has locked part of the file.\r\n"},
    {ERROR_HANDLE_EOF, u"The end of the file was reached.\r\n"},
    {ERROR_NOT_SUPPORTED, u"The request is not supported.\r\n"},
    {ERROR_FILE_EXISTS, u"A file of that name exists already.\r\n"},
    {ERROR_INVALID_PARAMETER, u"A parameter is not valid.\r\n"},
    {ERROR_BROKEN_PIPE, u"The other end of the pipe was closed.\r\n"},
    {ERROR_DISK_FULL, u"The disk has no room left.\r\n"},
    {ERROR_CALL_NOT_IMPLEMENTED, u"This function is not available here.\r\n"},
    {ERROR_INSUFFICIENT_BUFFER, u"The buffer is too small for the data.\r\n"},
    {ERROR_INVALID_NAME, u"The name is not valid.\r\n"},
    {ERROR_MOD_NOT_FOUND, u"The module could not be found.\r\n"},
    {ERROR_PROC_NOT_FOUND, u"The module does not provide that procedure.\r\n"},
    {ERROR_NEGATIVE_SEEK, u"The file pointer would move before the start of the file.\r\n"},
    {ERROR_SEEK_ON_DEVICE, u"The file pointer cannot be moved on this device.\r\n"},
    {ERROR_DIR_NOT_EMPTY, u"The directory is not empty.\r\n"},
    {ERROR_SIGNAL_REFUSED, u"The thread refused the request.\r\n"},
    {ERROR_BAD_PATHNAME, u"The path is not valid.\r\n"},
    {ERROR_BUSY, u"The resource is busy.\r\n"},
    {ERROR_ALREADY_EXISTS, u"The object exists already.\r\n"},
    {ERROR_BAD_EXE_FORMAT, u"The file is not a module of this platform.\r\n"},
    {ERROR_FILENAME_EXCED_RANGE, u"The file name is too long.\r\n"},
    {ERROR_FILE_TOO_LARGE, u"The file is too large.\r\n"},
    {ERROR_MORE_DATA, u"More data is available.\r\n"},
    {ERROR_NO_WORK_DONE, u"Nothing was done.\r\n"},
    {ERROR_NO_MORE_ITEMS, u"There are no more items.\r\n"},
    {ERROR_MR_MID_NOT_FOUND, u"There is no text for this message number.\r\n"},
    {ERROR_INVALID_ADDRESS, u"The address is not valid.\r\n"},
    {ERROR_ARITHMETIC_OVERFLOW, u"The result does not fit.\r\n"},
    {ERROR_OPERATION_ABORTED, u"The operation was cancelled.\r\n"},
    {ERROR_NOACCESS, u"The memory cannot be accessed.\r\n"},
    {ERROR_INVALID_FLAGS, u"The flags are not valid.\r\n"},
    {ERROR_FILE_INVALID, u"The file is no longer valid.\r\n"},
    {ERROR_NO_UNICODE_TRANSLATION, u"The text has no Unicode form in this code page.\r\n"},
    {ERROR_TOO_MANY_LINKS, u"The file has too many links.\r\n"},
    {ERROR_TIMEOUT, u"The time allowed ran out.\r\n"},
    {ERROR_RESOURCE_DATA_NOT_FOUND, u"The module holds no resources of that kind.\r\n"},
    {ERROR_RESOURCE_NAME_NOT_FOUND, u"The module holds no resource of that name.\r\n"},
    {ERROR_CANT_RESOLVE_FILENAME, u"The name cannot be resolved.\r\n"},
};

const WCHAR *SystemText(DWORD code) {
  for (const SystemMessage &m : kSystemMessages)
    if (m.code == code) return qn::AsU(m.text);
  return nullptr;
}

// ---- The result

DWORD Deliver(const Text &text, DWORD dwFlags, LPWSTR lpBuffer, DWORD nSize) {
  if (text.empty()) {
    if ((dwFlags & FORMAT_MESSAGE_ALLOCATE_BUFFER) == 0 && nSize > 0) lpBuffer[0] = 0;
    SetLastError(ERROR_NO_WORK_DONE);
    return 0;
  }
  const size_t needed = text.size() + 1;
  if (dwFlags & FORMAT_MESSAGE_ALLOCATE_BUFFER) {
    const size_t units = needed > nSize ? needed : nSize;
    WCHAR *block = static_cast<WCHAR *>(LocalAlloc(LMEM_FIXED, units * sizeof(WCHAR)));
    if (block == nullptr) {
      SetLastError(ERROR_NOT_ENOUGH_MEMORY);
      return 0;
    }
    memcpy(block, text.data(), text.size() * sizeof(WCHAR));
    block[text.size()] = 0;
    *reinterpret_cast<LPWSTR *>(lpBuffer) = block;
    return static_cast<DWORD>(text.size());
  }
  if (needed > nSize) {
    // What fits stays behind, terminated, as on Windows.
    if (nSize > 0) {
      memcpy(lpBuffer, text.data(), (nSize - 1) * sizeof(WCHAR));
      lpBuffer[nSize - 1] = 0;
    }
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  memcpy(lpBuffer, text.data(), text.size() * sizeof(WCHAR));
  lpBuffer[text.size()] = 0;
  return static_cast<DWORD>(text.size());
}

}  // namespace

extern "C" DWORD WINAPI FormatMessageW(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD,
                                       LPWSTR lpBuffer, DWORD nSize, va_list *Arguments) {
  if (lpBuffer == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  if (dwFlags & FORMAT_MESSAGE_ALLOCATE_BUFFER) *reinterpret_cast<LPWSTR *>(lpBuffer) = nullptr;

  const WCHAR *source = nullptr;
  if (dwFlags & FORMAT_MESSAGE_FROM_STRING) {
    source = static_cast<const WCHAR *>(lpSource);
    if (source == nullptr) {
      SetLastError(ERROR_INVALID_PARAMETER);
      return 0;
    }
  } else if (dwFlags & FORMAT_MESSAGE_FROM_SYSTEM) {
    source = SystemText(dwMessageId);
    if (source == nullptr) {
      SetLastError(ERROR_MR_MID_NOT_FOUND);
      return 0;
    }
  } else {
    SetLastError((dwFlags & FORMAT_MESSAGE_FROM_HMODULE) ? ERROR_RESOURCE_DATA_NOT_FOUND : ERROR_INVALID_PARAMETER);
    return 0;
  }

  InsertArguments args(Arguments, (dwFlags & FORMAT_MESSAGE_ARGUMENT_ARRAY) != 0);
  MessageWriter writer(dwFlags & FORMAT_MESSAGE_MAX_WIDTH_MASK);
  if (!FormatText(source, (dwFlags & FORMAT_MESSAGE_IGNORE_INSERTS) != 0, args, writer)) return 0;
  return Deliver(writer.Result(), dwFlags, lpBuffer, nSize);
}
