// qnscan FILE [NAME...]: the name=value entries of a text file, as the library reads them.
//
// The file is opened with OpenMemMapTextFromURL (ANSI or UTF-16, with or without a byte-order mark)
// and walked line by line with PchNextLine; BGetNameValPair takes the values out of each line. With
// names, each line is asked for each name; without, every line that holds "name = value" gives its
// entry (blank lines, and lines that start with ';', '#' or '[', are not entries). Lines end at a
// carriage return, as PchNextLine has it; a bare line feed ends one too, so that files written on
// POSIX read the same.
//
// Output is UTF-8, one "LINE: NAME=VALUE" per entry, LINE counting from 1. Exit status: 0 when the
// file was read (entries or not), 1 when it could not be opened, 2 for a bad command line.
#include <stdio.h>

#include <string>
#include <vector>

#include "qnutil/qnutil.h"

#if defined(_WIN32)
#  include <fcntl.h>
#  include <io.h>
#endif

namespace {

typedef std::basic_string<unsigned short> Text;

const short kValueCapacity = 4096;

const char kUsage[] =
    "usage: qnscan FILE [NAME...]\n"
    "\n"
    "Prints the name=value entries of the text file FILE (ANSI or UTF-16, with or without a\n"
    "byte-order mark), one per line as LINE: NAME=VALUE, in UTF-8.\n"
    "  With NAMEs: the value of each NAME on each line where it appears (names ignore case).\n"
    "  Without:    every entry; blank lines and lines starting with ';', '#' or '[' are skipped.\n"
    "Values may be quoted (\"a b\"); an unquoted value ends at a blank.\n"
    "Exit status: 0 read, 1 the file could not be opened, 2 bad command line.\n";

void WriteUtf8(const unsigned short *pwsz, size_t cch) {
  if (cch == 0) return;
  const int cb = WideCharToMultiByte(CP_UTF8, 0, qn::AsW(pwsz), static_cast<int>(cch), nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<size_t>(cb > 0 ? cb : 0), '\0');
  if (cb > 0) WideCharToMultiByte(CP_UTF8, 0, qn::AsW(pwsz), static_cast<int>(cch), &bytes[0], cb, nullptr, nullptr);
  fwrite(bytes.data(), 1, bytes.size(), stdout);
}

size_t Length(const unsigned short *pwsz) {
  size_t n = 0;
  while (pwsz[n]) ++n;
  return n;
}

void PrintEntry(unsigned line, const unsigned short *pwszName, size_t cchName, const unsigned short *pwszValue) {
  printf("%u: ", line);
  WriteUtf8(pwszName, cchName);
  fputc('=', stdout);
  WriteUtf8(pwszValue, Length(pwszValue));
  fputc('\n', stdout);
}

bool IsBlank(unsigned short ch) { return ch == 0x20 || (ch >= 0x09 && ch <= 0x0D); }

// The entry a line holds without being asked for a name: the name is what stands before the first
// '=', without its surrounding blanks; the value is read by BGetNameValPair for that name.
void ScanEntry(unsigned line, const unsigned short *pwszLine, unsigned short *pwszValue) {
  const unsigned short *p = pwszLine;
  while (IsBlank(*p)) ++p;
  if (*p == 0 || *p == ';' || *p == '#' || *p == '[') return;
  const unsigned short *pEq = p;
  while (*pEq && *pEq != '=') ++pEq;
  if (*pEq == 0) return;
  const unsigned short *pEnd = pEq;
  while (pEnd > p && IsBlank(pEnd[-1])) --pEnd;
  if (pEnd == p) return;
  const Text name(p, pEnd);
  const unsigned short *cursor = pwszLine;
  if (BGetNameValPair(cursor, name.c_str(), '=', pwszValue, kValueCapacity, nullptr, false, false, nullptr))
    PrintEntry(line, name.data(), name.size(), pwszValue);
}

void ScanLine(unsigned line, const unsigned short *pwszLine, const std::vector<Text> &names,
              unsigned short *pwszValue) {
  if (names.empty()) {
    ScanEntry(line, pwszLine, pwszValue);
    return;
  }
  for (const Text &name : names) {
    const unsigned short *cursor = pwszLine;
    if (BGetNameValPair(cursor, name.c_str(), '=', pwszValue, kValueCapacity, nullptr, false, false, nullptr))
      PrintEntry(line, name.data(), name.size(), pwszValue);
  }
}

// One line: the file, the error's code and the system's words for it.
void ReportOpenFailure(const Text &file, HRESULT hr) {
  std::string path;
  {
    const int cb = WideCharToMultiByte(CP_UTF8, 0, qn::AsW(file.c_str()), -1, nullptr, 0, nullptr, nullptr);
    path.assign(static_cast<size_t>(cb > 0 ? cb - 1 : 0), '\0');
    if (cb > 1) WideCharToMultiByte(CP_UTF8, 0, qn::AsW(file.c_str()), -1, &path[0], cb, nullptr, nullptr);
  }
  const DWORD code = HRESULT_FACILITY(hr) == FACILITY_WIN32 ? HRESULT_CODE(hr) : static_cast<DWORD>(hr);
  WCHAR message[512] = {0};
  const DWORD cch = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS |
                                       FORMAT_MESSAGE_MAX_WIDTH_MASK,
                                   nullptr, code, 0, message, 512, nullptr);
  std::string meaning;
  if (cch > 0) {
    const int cb = WideCharToMultiByte(CP_UTF8, 0, message, static_cast<int>(cch), nullptr, 0, nullptr, nullptr);
    meaning.assign(static_cast<size_t>(cb > 0 ? cb : 0), '\0');
    if (cb > 0) WideCharToMultiByte(CP_UTF8, 0, message, static_cast<int>(cch), &meaning[0], cb, nullptr, nullptr);
    while (!meaning.empty() && (meaning.back() == ' ' || meaning.back() == '\r' || meaning.back() == '\n'))
      meaning.pop_back();
  }
  fprintf(stderr, "qnscan: cannot open %s: error 0x%08X: %s\n", path.c_str(), static_cast<unsigned>(hr),
          meaning.empty() ? "no description" : meaning.c_str());
}

int Run(const std::vector<Text> &args) {
  if (args.empty()) {
    fputs(kUsage, stderr);
    return 2;
  }
  static const unsigned short kHelp[] = {'-', '-', 'h', 'e', 'l', 'p', 0};
  static const unsigned short kShortHelp[] = {'-', 'h', 0};
  if (args[0] == kHelp || args[0] == kShortHelp) {
    fputs(kUsage, stdout);
    return 0;
  }
  const std::vector<Text> names(args.begin() + 1, args.end());

  CMemMapTextFile file;
  const HRESULT hr = OpenMemMapTextFromURL(args[0].c_str(), STGM_READ | STGM_SHARE_DENY_WRITE, file);
  if (FAILED(hr)) {
    ReportOpenFailure(args[0], hr);
    return 1;
  }
  // PchNextLine ends lines in place: a private copy, since the text may be the file's own read-only
  // view. A byte-order mark at the start is not part of the first line.
  const unsigned short *pText = file;
  size_t cch = file.Cch();
  if (cch > 0 && pText[0] == 0xFEFF) ++pText, --cch;
  std::vector<unsigned short> text(pText, pText + cch);
  text.push_back(0);
  file.Close();

  std::vector<unsigned short> value(kValueCapacity);
  unsigned line = 1;
  for (unsigned short *pLine = text.data(); pLine != nullptr;) {
    unsigned short *pNext = PchNextLine(pLine);
    // A bare line feed ends a line as well: one more split, inside the carriage-return line.
    for (unsigned short *pPart = pLine; pPart != nullptr; ++line) {
      unsigned short *pFeed = pPart;
      while (*pFeed && *pFeed != '\n') ++pFeed;
      const bool fFeed = *pFeed == '\n';
      if (fFeed) *pFeed = 0;
      ScanLine(line, pPart, names, value.data());
      pPart = fFeed && (pNext != nullptr || pFeed[1] != 0) ? pFeed + 1 : nullptr;
    }
    // The line feed of a CRLF pair is stepped over by PchNextLine, so it makes no line of its own.
    pLine = pNext;
  }
  return 0;
}

}  // namespace

#if defined(_WIN32)
int wmain(int argc, wchar_t **argv) {
  _setmode(_fileno(stdout), _O_BINARY);  // the same UTF-8 bytes as on POSIX, no CR added
  std::vector<Text> args;
  for (int i = 1; i < argc; ++i) args.emplace_back(qn::AsU(argv[i]));
  try {
    return Run(args);
  } catch (const CException &) {
    fputs("qnscan: out of memory\n", stderr);
    return 1;
  }
}
#else
int main(int argc, char **argv) {
  std::vector<Text> args;
  for (int i = 1; i < argc; ++i) {
    const int cch = MultiByteToWideChar(CP_UTF8, 0, argv[i], -1, nullptr, 0);
    std::vector<WCHAR> wide(static_cast<size_t>(cch > 0 ? cch : 1), 0);
    if (cch > 0) MultiByteToWideChar(CP_UTF8, 0, argv[i], -1, wide.data(), cch);
    args.emplace_back(qn::AsU(wide.data()));
  }
  try {
    return Run(args);
  } catch (const CException &) {
    fputs("qnscan: out of memory\n", stderr);
    return 1;
  }
}
#endif
