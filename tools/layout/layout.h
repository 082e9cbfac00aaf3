// The helpers of the layout program: each group of declarations is a function that prints one
// "name value" line per size, offset or constant. Groups in files of their own register with
// QN_LAYOUT_GROUP and run after the groups of layout.cpp, in the order of their names, so that a
// new area of the platform surface is a new file and the output stays the same on every build.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <type_traits>

#include "qnutil/win32.h"

namespace {

template <typename T>
void Line(const char *name, T value) {
  static_assert(std::is_integral<T>::value || std::is_enum<T>::value, "values are integers");
  if constexpr (std::is_enum<T>::value) {
    Line(name, static_cast<std::underlying_type_t<T>>(value));
  } else if constexpr (std::is_same<T, bool>::value) {
    std::cout << name << ' ' << (value ? 1 : 0) << '\n';
  } else if constexpr (std::is_signed<T>::value) {
    std::cout << name << ' ' << static_cast<long long>(value) << '\n';
  } else {
    std::cout << name << ' ' << static_cast<unsigned long long>(value) << '\n';
  }
}

// An interface identifier as its fields, in hexadecimal.
inline void IidLine(const char *name, const GUID &iid) {
  std::cout << name << ' ' << std::hex << iid.Data1 << ' ' << iid.Data2 << ' ' << iid.Data3;
  for (unsigned char b : iid.Data4) std::cout << ' ' << static_cast<unsigned>(b);
  std::cout << std::dec << '\n';
}

// The slot (from 1) that a pointer to a virtual member names. Every target builds with the Itanium
// C++ ABI (g++, clang, mingw), where such a pointer holds 1 + the slot's byte offset in the table.
template <class F>
unsigned long long VirtualSlot(F f) {
  static_assert(sizeof(F) == 2 * sizeof(void *), "a member pointer is a pointer and an adjustment");
  struct {
    std::uintptr_t ptr;
    std::ptrdiff_t adj;
  } raw;
  std::memcpy(&raw, &f, sizeof raw);
  return (raw.ptr - 1) / sizeof(void *) + 1;
}

}  // namespace

// Size and alignment of any type.
#define TYPE(T)                                \
  do {                                         \
    Line("size." #T, sizeof(T));               \
    Line("align." #T, alignof(T));             \
  } while (0)
// An integer type: its size, alignment and signedness. (No explicit template argument here: the
// subset's 64-bit integers carry an alignment attribute that a template argument would drop.)
#define INTEGER(T)                                     \
  do {                                                 \
    TYPE(T);                                           \
    Line("signed." #T, static_cast<T>(-1) < 0);        \
  } while (0)
// The offset of a field (a dotted path into nested members works too).
#define OFFSET(T, field) Line("offset." #T "." #field, offsetof(T, field))
// The value of a constant or of an expression over constants.
#define VALUE(expr) Line(#expr, (expr))
// The slot of an interface's method, by the pointer to it.
#define VIRTUAL_SLOT(I, m) Line("slot." #I "." #m, VirtualSlot(&I::m))

namespace qnlayout {

using GroupFn = void (*)();
// Registers a group to run after the fixed ones; answers true so that it can initialise a static.
bool RegisterGroup(const char *name, GroupFn fn);

}  // namespace qnlayout

#define QN_LAYOUT_GROUP(name)                                                        \
  static void name();                                                                \
  static const bool qn_layout_registered_##name = qnlayout::RegisterGroup(#name, name); \
  static void name()
