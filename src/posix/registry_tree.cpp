// The registry's in-memory tree and its export-file form: reading and writing .reg text.
#include <locale.h>
#include <stdio.h>
#include <wctype.h>

#include <cstring>

#include "internal/registry_tree.h"
#include "internal/utf8.h"

namespace qn::posix::reg {
namespace {

const std::u16string_view kHeader = u"Windows Registry Editor Version 5.00";

struct LowerTable {
  char16_t lower[0x10000];
  LowerTable() {
    locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
    for (unsigned c = 0; c < 0x10000; ++c) {
      unsigned l = c;
      if (c >= 'A' && c <= 'Z') {
        l = c + 0x20;
      } else if (c >= 0x80 && (c < 0xD800 || c > 0xDFFF) && utf8 != static_cast<locale_t>(0)) {
        const wint_t w = towlower_l(static_cast<wint_t>(c), utf8);
        if (w < 0x10000) l = static_cast<unsigned>(w);
      }
      lower[c] = static_cast<char16_t>(l);
    }
    if (utf8 != static_cast<locale_t>(0)) freelocale(utf8);
  }
};

const LowerTable &Lower() {
  static const LowerTable table;
  return table;
}

template <class Map, class Cursor>
typename Map::const_iterator At(const Map &map, Cursor &cursor, size_t version, size_t n) {
  if (n >= map.size()) return map.end();
  if (cursor.version != version || cursor.index > n) {
    cursor = Cursor{0, map.begin(), version};
  }
  while (cursor.index < n) {
    ++cursor.it;
    ++cursor.index;
  }
  return cursor.it;
}

void MarkDeleted(Key &key) {
  key.deleted = true;
  key.parent = nullptr;
  for (auto &entry : key.subkeys) MarkDeleted(*entry.second);
}

}  // namespace

std::u16string FoldName(std::u16string_view name) {
  std::u16string folded(name);
  const LowerTable &table = Lower();
  for (char16_t &c : folded) c = table.lower[c];
  return folded;
}

const Value *Key::FindValue(std::u16string_view folded) const {
  auto it = values.find(std::u16string(folded));
  return it == values.end() ? nullptr : &it->second;
}

void Key::SetValue(std::u16string_view name, DWORD type, const BYTE *data, size_t size) {
  auto inserted = values.try_emplace(FoldName(name));
  Value &value = inserted.first->second;
  if (inserted.second) {
    value.name = std::u16string(name);
    ++version_;
  }
  value.type = type;
  value.data.assign(data, data + size);
}

bool Key::DeleteValue(std::u16string_view folded) {
  if (values.erase(std::u16string(folded)) == 0) return false;
  ++version_;
  return true;
}

const Value *Key::ValueAt(size_t n) const {
  auto it = At(values, valueCursor_, version_, n);
  return it == values.end() ? nullptr : &it->second;
}

const Key *Key::SubkeyAt(size_t n) const {
  auto it = At(subkeys, keyCursor_, version_, n);
  return it == subkeys.end() ? nullptr : it->second.get();
}

Key *Key::FindSubkey(const std::u16string &folded) const {
  auto it = subkeys.find(folded);
  return it == subkeys.end() ? nullptr : it->second.get();
}

Key *Key::MakeSubkey(std::u16string_view name, bool *created) {
  KeyPtr &slot = subkeys[FoldName(name)];
  if (created) *created = !slot;
  if (!slot) {
    ++version_;
    slot = std::make_shared<Key>();
    slot->name = std::u16string(name);
    slot->parent = this;
  }
  return slot.get();
}

void Key::Clear() {
  values.clear();
  ++version_;
  for (auto &entry : subkeys) MarkDeleted(*entry.second);
  subkeys.clear();
}

void Key::RemoveSubkey(const std::u16string &folded) {
  auto it = subkeys.find(folded);
  if (it == subkeys.end()) return;
  MarkDeleted(*it->second);
  subkeys.erase(it);
  ++version_;
}

void MergeInto(Key &live, Key &fresh) {
  live.values = std::move(fresh.values);
  ++live.version_;
  for (auto it = live.subkeys.begin(); it != live.subkeys.end();) {
    if (fresh.subkeys.count(it->first) == 0) {
      MarkDeleted(*it->second);
      it = live.subkeys.erase(it);
    } else {
      ++it;
    }
  }
  for (auto &entry : fresh.subkeys) {
    auto found = live.subkeys.find(entry.first);
    if (found != live.subkeys.end()) {
      found->second->name = entry.second->name;
      MergeInto(*found->second, *entry.second);
    } else {
      entry.second->parent = &live;
      live.subkeys.emplace(entry.first, std::move(entry.second));
    }
  }
  fresh.subkeys.clear();
}

std::vector<std::u16string> PathOf(const Key &key) {
  std::vector<std::u16string> path;
  for (const Key *k = &key; k->parent != nullptr; k = k->parent) path.insert(path.begin(), k->name);
  return path;
}

// ---- Reading ----

namespace {

bool DecodeUtf8(std::string_view bytes, std::u16string &out, ParseError &error) {
  size_t line = 1;
  for (size_t i = 0; i < bytes.size();) {
    const unsigned b = static_cast<unsigned char>(bytes[i]);
    const Utf8Lead lead = Utf8LeadOf(b);
    if (lead.length == 0 || i + lead.length > bytes.size()) {
      error = {line, "the text is neither UTF-16 with a byte-order mark nor UTF-8"};
      return false;
    }
    unsigned cp = lead.length == 1 ? b : (b & (0xFFu >> (lead.length + 1)));
    for (size_t k = 1; k < lead.length; ++k) {
      const unsigned c = static_cast<unsigned char>(bytes[i + k]);
      const bool ok = k == 1 ? (c >= lead.lo && c <= lead.hi) : (c >= 0x80 && c <= 0xBF);
      if (!ok) {
        error = {line, "the text is neither UTF-16 with a byte-order mark nor UTF-8"};
        return false;
      }
      cp = (cp << 6) | (c & 0x3F);
    }
    if (cp == '\n') ++line;
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(cp));
    }
    i += lead.length;
  }
  return true;
}

bool Decode(std::string_view bytes, std::u16string &text, ParseError &error) {
  if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF && static_cast<unsigned char>(bytes[1]) == 0xFE) {
    if (bytes.size() % 2 != 0) {
      error = {0, "UTF-16 text with an odd number of bytes"};
      return false;
    }
    text.resize((bytes.size() - 2) / 2);
    for (size_t i = 0; i < text.size(); ++i) {
      text[i] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 + 2 * i]) |
                                      (static_cast<unsigned char>(bytes[3 + 2 * i]) << 8));
    }
    return true;
  }
  if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFE && static_cast<unsigned char>(bytes[1]) == 0xFF) {
    error = {0, "big-endian UTF-16 is not read; save the file as UTF-16LE or UTF-8"};
    return false;
  }
  if (bytes.size() >= 3 && bytes.substr(0, 3) == "\xEF\xBB\xBF") bytes.remove_prefix(3);
  return DecodeUtf8(bytes, text, error);
}

bool IsBlank(char16_t c) { return c == u' ' || c == u'\t'; }

std::u16string_view Trim(std::u16string_view s) {
  while (!s.empty() && (IsBlank(s.front()) || s.front() == u'\r')) s.remove_prefix(1);
  while (!s.empty() && (IsBlank(s.back()) || s.back() == u'\r')) s.remove_suffix(1);
  return s;
}

int HexDigit(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return -1;
}

// A quoted text starting at s[0] == '"'; answers the position after the closing quote, or npos.
size_t ReadQuoted(std::u16string_view s, std::u16string &out) {
  for (size_t i = 1; i < s.size(); ++i) {
    const char16_t c = s[i];
    if (c == u'"') return i + 1;
    if (c == u'\\' && i + 1 < s.size()) {
      const char16_t next = s[++i];
      out.push_back(next == u'n' ? u'\n' : next == u'r' ? u'\r' : next == u'0' ? u'\0' : next);
    } else {
      out.push_back(c);
    }
  }
  return std::u16string_view::npos;
}

std::string Narrow(std::u16string_view s) {
  std::string out;
  for (char16_t c : s) out.push_back(c < 0x80 ? static_cast<char>(c) : '?');
  return out;
}

class Parser {
 public:
  Parser(std::u16string_view rootName, Key &root, ParseError &error)
      : rootName_(rootName), root_(root), error_(error) {}

  bool Run(std::u16string_view text) {
    std::vector<std::u16string_view> lines;
    for (size_t start = 0; start <= text.size();) {
      size_t end = text.find(u'\n', start);
      if (end == std::u16string_view::npos) end = text.size();
      lines.push_back(text.substr(start, end - start));
      start = end + 1;
    }
    bool sawHeader = false;
    for (size_t i = 0; i < lines.size(); ++i) {
      line_ = i + 1;
      std::u16string_view line = Trim(lines[i]);
      if (line.empty() || line[0] == u';') continue;
      if (!sawHeader) {
        if (line != kHeader) return Fail("the first line is not \"Windows Registry Editor Version 5.00\"");
        sawHeader = true;
        continue;
      }
      if (line[0] == u'[') {
        if (!Section(line)) return false;
        continue;
      }
      // A hex list goes on over the next lines while a line ends with a backslash.
      std::u16string joined;
      const size_t first = i;
      const bool hexList = line.find(u"=hex") != std::u16string_view::npos;
      while (hexList && line.back() == u'\\' && i + 1 < lines.size()) {
        joined.append(line.substr(0, line.size() - 1));
        line = Trim(lines[++i]);
        if (line.empty()) break;
      }
      if (!joined.empty()) {
        joined.append(line);
        line_ = first + 1;
        if (!ValueLine(joined)) return false;
      } else if (!ValueLine(line)) {
        return false;
      }
    }
    if (!sawHeader && !text.empty() && Trim(text).size() > 0) return Fail("no header line");
    return true;
  }

 private:
  bool Fail(const std::string &reason) {
    error_ = {line_, reason};
    return false;
  }

  bool Section(std::u16string_view line) {
    const size_t close = line.rfind(u']');
    if (close == std::u16string_view::npos || Trim(line.substr(close + 1)).size() != 0) {
      return Fail("a key line without its closing ']'");
    }
    std::u16string_view path = line.substr(1, close - 1);
    const bool remove = !path.empty() && path[0] == u'-';
    if (remove) path.remove_prefix(1);
    const size_t slash = path.find(u'\\');
    const std::u16string_view root = path.substr(0, slash);
    if (FoldName(root) != FoldName(rootName_)) {
      return Fail("the key \"" + Narrow(path) + "\" is not under " + Narrow(rootName_));
    }
    std::vector<std::u16string_view> names;
    if (slash != std::u16string_view::npos) {
      std::u16string_view rest = path.substr(slash + 1);
      while (!rest.empty()) {
        const size_t next = rest.find(u'\\');
        const std::u16string_view name = rest.substr(0, next);
        if (name.empty()) return Fail("an empty key name in \"" + Narrow(path) + "\"");
        if (name.size() > 255) return Fail("a key name longer than 255 characters");
        names.push_back(name);
        if (next == std::u16string_view::npos) break;
        rest.remove_prefix(next + 1);
      }
    }
    if (remove) {
      if (names.empty()) return Fail("a root cannot be deleted");
      Key *key = &root_;
      for (size_t k = 0; k + 1 < names.size() && key; ++k) key = key->FindSubkey(FoldName(names[k]));
      if (key) key->RemoveSubkey(FoldName(names.back()));
      current_ = nullptr;
      deletedSection_ = true;
      return true;
    }
    Key *key = &root_;
    for (auto name : names) key = key->MakeSubkey(name);
    current_ = key;
    deletedSection_ = false;
    return true;
  }

  bool ValueLine(std::u16string_view line) {
    if (current_ == nullptr) {
      if (deletedSection_) return true;  // values of a deleted key, as the editor ignores them
      return Fail("a value before any key line");
    }
    std::u16string name;
    size_t pos;
    if (line[0] == u'@') {
      pos = 1;
    } else if (line[0] == u'"') {
      pos = ReadQuoted(line, name);
      if (pos == std::u16string_view::npos) return Fail("a value name without its closing quote");
    } else {
      return Fail("a line that is neither a key, a value nor a comment");
    }
    std::u16string_view rest = Trim(line.substr(pos));
    if (rest.empty() || rest[0] != u'=') return Fail("a value name not followed by '='");
    rest = Trim(rest.substr(1));
    if (rest == u"-") {
      current_->DeleteValue(FoldName(name));
      return true;
    }
    if (!rest.empty() && rest[0] == u'"') {
      std::u16string text;
      const size_t end = ReadQuoted(rest, text);
      if (end == std::u16string_view::npos) return Fail("a string value without its closing quote");
      if (Trim(rest.substr(end)).size() != 0) return Fail("text after a string value");
      text.push_back(u'\0');
      current_->SetValue(name, REG_SZ, reinterpret_cast<const BYTE *>(text.data()), text.size() * 2);
      return true;
    }
    if (rest.substr(0, 6) == u"dword:") {
      std::u16string_view digits = rest.substr(6);
      if (digits.empty() || digits.size() > 8) return Fail("a dword value needs 1 to 8 hex digits");
      DWORD v = 0;
      for (char16_t c : digits) {
        const int d = HexDigit(c);
        if (d < 0) return Fail("a dword value with a character that is not a hex digit");
        v = (v << 4) | static_cast<DWORD>(d);
      }
      const BYTE bytes[4] = {BYTE(v), BYTE(v >> 8), BYTE(v >> 16), BYTE(v >> 24)};
      current_->SetValue(name, REG_DWORD, bytes, 4);
      return true;
    }
    if (rest.substr(0, 3) == u"hex") {
      rest.remove_prefix(3);
      DWORD type = REG_BINARY;
      if (!rest.empty() && rest[0] == u'(') {
        const size_t close = rest.find(u')');
        if (close == std::u16string_view::npos || close == 1 || close > 9) return Fail("a bad hex(type) form");
        type = 0;
        for (size_t k = 1; k < close; ++k) {
          const int d = HexDigit(rest[k]);
          if (d < 0) return Fail("a value type that is not hexadecimal");
          type = (type << 4) | static_cast<DWORD>(d);
        }
        rest.remove_prefix(close + 1);
      }
      if (rest.empty() || rest[0] != u':') return Fail("a hex value without ':'");
      rest.remove_prefix(1);
      std::vector<BYTE> bytes;
      while (!(rest = Trim(rest)).empty()) {
        int v = 0, n = 0, d;
        while (!rest.empty() && (d = HexDigit(rest[0])) >= 0) {
          v = v * 16 + d;
          ++n;
          rest.remove_prefix(1);
        }
        if (n == 0 || n > 2) return Fail("a hex value with a byte that is not two hex digits");
        bytes.push_back(static_cast<BYTE>(v));
        rest = Trim(rest);
        if (rest.empty()) break;
        if (rest[0] != u',') return Fail("hex bytes not separated by commas");
        rest.remove_prefix(1);
      }
      current_->SetValue(name, type, bytes.data(), bytes.size());
      return true;
    }
    return Fail("a value that is neither \"text\", dword:, hex: nor -");
  }

  std::u16string_view rootName_;
  Key &root_;
  ParseError &error_;
  Key *current_ = nullptr;
  bool deletedSection_ = false;
  size_t line_ = 0;
};

// ---- Writing ----

void Escape(std::u16string &out, std::u16string_view s) {
  for (char16_t c : s) {
    if (c == u'\n' || c == u'\r') {
      out.push_back(u'\\');
      out.push_back(c == u'\n' ? u'n' : u'r');
      continue;
    }
    if (c == u'\\' || c == u'"') out.push_back(u'\\');
    out.push_back(c);
  }
}

void Ascii(std::u16string &out, const char *s) {
  while (*s) out.push_back(static_cast<char16_t>(*s++));
}

// A REG_SZ the quoted form gives back byte for byte: one terminator at its end, no other zero, no
// line break.
bool IsPlainString(const std::vector<BYTE> &data) {
  if (data.size() < 2 || data.size() % 2 != 0) return false;
  const size_t n = data.size() / 2;
  for (size_t i = 0; i < n; ++i) {
    const char16_t c = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
    if ((c == 0) != (i + 1 == n) || c == u'\n' || c == u'\r') return false;
  }
  return true;
}

void WriteValue(std::u16string &out, const Value &value) {
  const size_t start = out.size();
  if (value.name.empty()) {
    out.push_back(u'@');
  } else {
    out.push_back(u'"');
    Escape(out, value.name);
    out.push_back(u'"');
  }
  out.push_back(u'=');
  char buffer[32];
  if (value.type == REG_SZ && IsPlainString(value.data)) {
    out.push_back(u'"');
    Escape(out, std::u16string_view(reinterpret_cast<const char16_t *>(value.data.data()), value.data.size() / 2 - 1));
    out.append(u"\"\r\n");
    return;
  }
  if (value.type == REG_DWORD && value.data.size() == 4) {
    const DWORD v = value.data[0] | (value.data[1] << 8) | (value.data[2] << 16) | (DWORD(value.data[3]) << 24);
    snprintf(buffer, sizeof buffer, "dword:%08x\r\n", v);
    Ascii(out, buffer);
    return;
  }
  if (value.type == REG_BINARY) {
    Ascii(out, "hex:");
  } else {
    snprintf(buffer, sizeof buffer, "hex(%x):", value.type);
    Ascii(out, buffer);
  }
  size_t lineStart = start;
  for (size_t i = 0; i < value.data.size(); ++i) {
    snprintf(buffer, sizeof buffer, "%02x", value.data[i]);
    Ascii(out, buffer);
    if (i + 1 < value.data.size()) {
      out.push_back(u',');
      if (out.size() - lineStart > 76) {
        out.append(u"\\\r\n  ");
        lineStart = out.size() - 2;
      }
    }
  }
  out.append(u"\r\n");
}

void WriteKey(std::u16string &out, const Key &key, std::u16string &path) {
  if (key.parent == nullptr ? !key.values.empty() : true) {
    out.push_back(u'[');
    out.append(path);
    out.append(u"]\r\n");
    for (const auto &entry : key.values) WriteValue(out, entry.second);
    out.append(u"\r\n");
  }
  for (const auto &entry : key.subkeys) {
    const size_t length = path.size();
    path.push_back(u'\\');
    path.append(entry.second->name);
    WriteKey(out, *entry.second, path);
    path.resize(length);
  }
}

}  // namespace

bool ParseHive(std::string_view bytes, std::u16string_view rootName, Key &root, ParseError &error) {
  std::u16string text;
  if (!Decode(bytes, text, error)) return false;
  return Parser(rootName, root, error).Run(text);
}

std::string WriteHive(const Key &root, std::u16string_view rootName) {
  std::u16string text(kHeader);
  text.append(u"\r\n\r\n");
  std::u16string path(rootName);
  WriteKey(text, root, path);
  std::string bytes("\xFF\xFE", 2);
  bytes.reserve(2 + text.size() * 2);
  for (char16_t c : text) {
    bytes.push_back(static_cast<char>(c & 0xFF));
    bytes.push_back(static_cast<char>(c >> 8));
  }
  return bytes;
}

}  // namespace qn::posix::reg
