// Conformance of the module services: loading, lookup, reference counts, file names, failures.
//
// The test module (tests/support/testmod) is built next to the test program in every build, as
// qnutil_testmod.dll on Windows and libqnutil_testmod.so on POSIX; both load as "qnutil_testmod.dll".
#include <gtest/gtest.h>

#include <string>

#include "qnutil/win32.h"

namespace {

constexpr DWORD kUntouched = 0xDEADu;
const HMODULE kNoModule = reinterpret_cast<HMODULE>(static_cast<uintptr_t>(0x12340000));

using AnswerFn = int (*)(void);

std::u16string Text(const WCHAR *p) { return std::u16string(reinterpret_cast<const char16_t *>(p)); }

bool EndsWith(const std::u16string &s, const std::u16string &tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

std::u16string FileNameOf(HMODULE module) {
  WCHAR path[1024];
  const DWORD n = GetModuleFileNameW(module, path, 1024);
  return n == 0 ? std::u16string() : std::u16string(reinterpret_cast<const char16_t *>(path), n);
}

#if defined(_WIN32)
const std::u16string kModuleFile = u"\\qnutil_testmod.dll";
const std::u16string kProgramFile = u"\\qnutil_tests.exe";
#else
const std::u16string kModuleFile = u"/libqnutil_testmod.so";
const std::u16string kProgramFile = u"/qnutil_tests";
#endif

TEST(ModuleLoading, LoadsCallsAndCountsReferences) {
  const WCHAR *name = qn::AsW(u"qnutil_testmod.dll");
  ASSERT_EQ(GetModuleHandleW(name), nullptr) << "another test left the module loaded";

  HMODULE first = LoadLibraryW(name);
  ASSERT_NE(first, nullptr);
  auto answer = reinterpret_cast<AnswerFn>(reinterpret_cast<void (*)()>(GetProcAddress(first, "qnutil_testmod_answer")));
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(answer(), 42);
  EXPECT_EQ(GetModuleHandleW(name), first);

  // Every load of one module answers the same handle and adds a reference, whatever the name.
  HMODULE second = LoadLibraryA("qnutil_testmod.dll");
  EXPECT_EQ(second, first);
  HMODULE third = LoadLibraryW(qn::AsW(u"qnutil_testmod"));  // ".dll" is implied
  EXPECT_EQ(third, first);
  const std::u16string path = FileNameOf(first);
  EXPECT_TRUE(EndsWith(path, kModuleFile)) << std::string(path.begin(), path.end());
  HMODULE fourth = LoadLibraryW(qn::AsW(path.c_str()));
  EXPECT_EQ(fourth, first);
  EXPECT_EQ(GetModuleHandleW(qn::AsW(path.c_str())), first);
  EXPECT_EQ(GetModuleHandleW(qn::AsW(u"qnutil_testmod")), first);

  // A lookup adds no reference: three frees leave one, the fourth unloads.
  EXPECT_TRUE(FreeLibrary(fourth));
  EXPECT_TRUE(FreeLibrary(third));
  EXPECT_TRUE(FreeLibrary(second));
  EXPECT_EQ(GetModuleHandleW(name), first);
  EXPECT_TRUE(FreeLibrary(first));
  SetLastError(kUntouched);
  EXPECT_EQ(GetModuleHandleW(name), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
}

TEST(ModuleLoading, LooksUpOnlyTheModulesOwnExports) {
  HMODULE module = LoadLibraryW(qn::AsW(u"qnutil_testmod.dll"));
  ASSERT_NE(module, nullptr);
  for (const char *name : {"qnutil_testmod_missing", "malloc", ""}) {
    SetLastError(kUntouched);
    EXPECT_EQ(GetProcAddress(module, name), nullptr) << name;
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PROC_NOT_FOUND)) << name;
  }
  SetLastError(kUntouched);
  EXPECT_EQ(GetProcAddress(nullptr, "qnutil_no_such_export"), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PROC_NOT_FOUND));
  EXPECT_TRUE(FreeLibrary(module));
}

TEST(ModuleLoading, FailuresAnswerWindowsCodes) {
  for (const char16_t *name : {u"qnutil_no_such_module.dll", u"", u"qnutil_testmod."}) {
    SetLastError(kUntouched);
    EXPECT_EQ(LoadLibraryW(qn::AsW(name)), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
  }
  SetLastError(kUntouched);
  EXPECT_EQ(LoadLibraryW(nullptr), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  SetLastError(kUntouched);
  EXPECT_EQ(GetModuleHandleW(qn::AsW(u"qnutil_no_such_module.dll")), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));

  SetLastError(kUntouched);
  EXPECT_FALSE(FreeLibrary(nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  // A value that is no module is refused, not used.
  SetLastError(kUntouched);
  EXPECT_FALSE(FreeLibrary(kNoModule));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
  SetLastError(kUntouched);
  EXPECT_EQ(GetProcAddress(kNoModule, "qnutil_testmod_answer"), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
  WCHAR path[64];
  SetLastError(kUntouched);
  EXPECT_EQ(GetModuleFileNameW(kNoModule, path, 64), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
  SetLastError(kUntouched);
  EXPECT_FALSE(DisableThreadLibraryCalls(nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
}

TEST(ModuleFileName, NamesTheProgramAndSetsNoError) {
  EXPECT_NE(GetModuleHandleW(nullptr), nullptr);
  WCHAR path[1024];
  SetLastError(kUntouched);
  const DWORD n = GetModuleFileNameW(nullptr, path, 1024);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
  ASSERT_GT(n, 0u);
  EXPECT_EQ(lstrlenW(path), static_cast<int>(n));
  EXPECT_TRUE(EndsWith(Text(path), kProgramFile));
  EXPECT_EQ(GetModuleFileNameW(GetModuleHandleW(nullptr), path, 1024), n);
}

TEST(ModuleFileName, ShortBufferIsTruncatedAndReported) {
  const std::u16string full = FileNameOf(nullptr);
  ASSERT_GT(full.size(), 5u);
  WCHAR path[1024];
  for (WCHAR &w : path) w = 0xCCCC;
  SetLastError(kUntouched);
  EXPECT_EQ(GetModuleFileNameW(nullptr, path, 5), 5u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t *>(path), 4), full.substr(0, 4));
  EXPECT_EQ(path[5], 0xCCCC);
#if !defined(_WIN32)
  // Windows since Vista terminates the truncated path; Wine 8 leaves it unterminated, as XP did.
  EXPECT_EQ(path[4], 0);
#endif

  // The terminator needs room: a buffer of exactly the length is short.
  const DWORD length = static_cast<DWORD>(full.size());
  SetLastError(kUntouched);
  EXPECT_EQ(GetModuleFileNameW(nullptr, path, length), length);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  SetLastError(kUntouched);
  EXPECT_EQ(GetModuleFileNameW(nullptr, path, length + 1), length);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
  SetLastError(kUntouched);
  EXPECT_EQ(GetModuleFileNameW(nullptr, path, 0), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
}

// On POSIX the program was linked with libqnutil.so.0, the versioned file of "qnutil.dll".
TEST(ModuleLookup, FindsALinkedLibraryByItsWindowsName) {
  const HMODULE library = GetModuleHandleW(qn::AsW(u"qnutil.dll"));
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(GetModuleHandleW(qn::AsW(u"QNUTIL")), library);
  EXPECT_NE(library, GetModuleHandleW(nullptr));
}

TEST(ModuleLookup, FindsTheProgramByItsFileName) {
  const std::u16string full = FileNameOf(nullptr);
  const std::u16string base = full.substr(full.find_last_of(u"\\/") + 1);
  EXPECT_EQ(GetModuleHandleW(qn::AsW(base.c_str())), GetModuleHandleW(nullptr));
}

#if !defined(_WIN32)
// A drive letter names the POSIX root, and backslashes separate: a Windows-style path to a file
// that exists on POSIX finds it.
TEST(ModuleLoading, DriveLetterPathsNameTheRoot) {
  HMODULE module = LoadLibraryW(qn::AsW(u"qnutil_testmod.dll"));
  ASSERT_NE(module, nullptr);
  std::u16string path = FileNameOf(module);
  for (char16_t &c : path) {
    if (c == u'/') c = u'\\';
  }
  const std::u16string windowsStyle = u"C:" + path;
  EXPECT_EQ(GetModuleHandleW(qn::AsW(windowsStyle.c_str())), module);
  const std::u16string verbatim = u"\\\\?\\" + windowsStyle;
  EXPECT_EQ(GetModuleHandleW(qn::AsW(verbatim.c_str())), module);
  HMODULE again = LoadLibraryW(qn::AsW(windowsStyle.c_str()));
  EXPECT_EQ(again, module);
  EXPECT_TRUE(FreeLibrary(again));
  // Wine refuses a module with static TLS (the mingw runtime's), so this holds on the subset only.
  EXPECT_TRUE(DisableThreadLibraryCalls(module));
  EXPECT_TRUE(FreeLibrary(module));
}
#endif

}  // namespace
