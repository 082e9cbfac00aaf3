// The registry's in-memory tree (keys with their values) and its text form, the registry editor's
// export files. Nothing here locks or touches a file: the hive store (registry.cpp) does that.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "qnutil/posix/windows.h"

namespace qn::posix::reg {

// The name by which keys and values are found and sorted: every code unit in lower case. (Windows
// compares registry names by upper case; Wine, the reference here, sorts by lower case, which puts
// "_x" before "a".)
std::u16string FoldName(std::u16string_view name);

struct Value {
  std::u16string name;  // as first written
  DWORD type = REG_NONE;
  std::vector<BYTE> data;
};

struct Key;
using KeyPtr = std::shared_ptr<Key>;

// A key. Open handles hold a KeyPtr, so a key stays a valid object after it is deleted; `deleted`
// then says so and `parent` is null.
struct Key {
  std::u16string name;  // as first written; empty for a root
  Key *parent = nullptr;
  bool deleted = false;
  std::map<std::u16string, KeyPtr> subkeys;  // by folded name: the enumeration order
  std::map<std::u16string, Value> values;    // by folded name: the enumeration order

  // The n-th value or subkey, null past the end; O(1) when n follows the last one asked for.
  const Value *ValueAt(size_t n) const;
  const Key *SubkeyAt(size_t n) const;

  const Value *FindValue(std::u16string_view folded) const;
  // Replaces the bytes and type of a value of that name (which keeps its first name), or adds one.
  void SetValue(std::u16string_view name, DWORD type, const BYTE *data, size_t size);
  bool DeleteValue(std::u16string_view folded);
  Key *FindSubkey(const std::u16string &folded) const;
  // The subkey of that name, created when missing; *created says which.
  Key *MakeSubkey(std::u16string_view name, bool *created = nullptr);
  // Removes and marks deleted this key's values and subkeys, recursively.
  void Clear();
  // Detaches a subkey and marks it and everything below it deleted.
  void RemoveSubkey(const std::u16string &folded);

 private:
  template <class Map>
  struct Cursor {
    size_t index = 0;
    typename Map::const_iterator it;
    size_t version = ~size_t{0};
  };
  size_t version_ = 0;  // changes whenever values or subkeys are added or removed
  mutable Cursor<std::map<std::u16string, Value>> valueCursor_;
  mutable Cursor<std::map<std::u16string, KeyPtr>> keyCursor_;
  friend void MergeInto(Key &live, Key &fresh);
};

// Makes `live` hold what `fresh` holds while keeping the identity of every live key that is in
// both (handles on it stay valid); live keys that `fresh` lacks are marked deleted. `fresh` is
// consumed.
void MergeInto(Key &live, Key &fresh);

// Names as written, root first, of a key below a root (empty for the root itself).
std::vector<std::u16string> PathOf(const Key &key);

struct ParseError {
  size_t line = 0;  // 1-based; 0 when the file as a whole is at fault
  std::string reason;
};

// Reads an export file's bytes (UTF-16LE with a byte-order mark, or UTF-8) into `root`, the root
// key called `rootName` (e.g. u"HKEY_CURRENT_USER"); sections of any other root are an error.
// Deletions ("[-key]", "name"=-) apply to what was read before them. Empty input is an empty hive.
bool ParseHive(std::string_view bytes, std::u16string_view rootName, Key &root, ParseError &error);

// The export file of the tree under `root`: UTF-16LE with a byte-order mark and CRLF line ends.
std::string WriteHive(const Key &root, std::u16string_view rootName);

}  // namespace qn::posix::reg
