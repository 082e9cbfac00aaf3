// Redirection of the library's own imports, for tests that must stand between the library and the
// platform (heap failures, a string table the library does not carry, a failing formatter).
//
// Only the library's calls are redirected, the same way on every platform: on Windows the entries
// of qnutil.dll's import address table, on POSIX the relocation slots (PLT and GOT) through which
// libqnutil.so calls the subset. The test program, the runtime and the platform itself keep calling
// the real functions. A replacement must have the exact signature and calling convention (WINAPI)
// of the function it replaces.
#pragma once

namespace qntest {

// Points every import slot of the library for the function `name` at `replacement`. Answers how
// many slots it changed (0: the library does not import that function) and, through `previous`
// when it is not null, what the first of them held before.
int PatchImport(const char *name, void *replacement, void **previous);

// The function that a replacement forwards to: `previous` as PatchImport reported it on Windows; on
// POSIX the loader's own answer for `name`, since a lazily bound slot may still hold the loader's
// stub rather than the function.
void *RealFunction(const char *name, void *previous);

// Redirects the library's import of one function for the lifetime of the object, then puts back
// what the slots held. Redirections of the same function nest when they end in reverse order.
class ImportRedirect {
 public:
  ImportRedirect(const char *name, void *replacement);
  ~ImportRedirect();
  ImportRedirect(const ImportRedirect &) = delete;
  ImportRedirect &operator=(const ImportRedirect &) = delete;

  // False when the library does not import the function (nothing was changed).
  bool Installed() const { return m_previous != nullptr; }
  // The function the replacement may forward to (see RealFunction).
  template <class Fn>
  Fn Real() const {
    return reinterpret_cast<Fn>(m_real);
  }

 private:
  const char *m_name;
  void *m_previous = nullptr;
  void *m_real = nullptr;
};

}  // namespace qntest
