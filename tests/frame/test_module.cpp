// The module record as the module entry leaves it once the library is loaded.

#include <string>

#include <gtest/gtest.h>

#include "qnutil/atlmodule.h"

namespace {

TEST(ModuleRecord, IsFilledWhenTheLibraryIsLoaded) {
  ASSERT_NE(_pModule, nullptr);
  const _ATL_MODULE &record = *_pModule;
  EXPECT_EQ(record.cbSize, sizeof(_ATL_MODULE));
  if (sizeof(void *) == 4) {
    EXPECT_EQ(record.cbSize, 132u);
  }
  EXPECT_EQ(record.dwAtlBuildVer, 0x300u);
  EXPECT_EQ(record.pguidVer, &GUID_ATLVer);
  const GUID atl30 = {0xB62F5910, 0x6528, 0x11D1, {0x96, 0x11, 0x00, 0x00, 0xF8, 0x1E, 0x0D, 0x0D}};
  EXPECT_TRUE(IsEqualGUID(GUID_ATLVer, atl30));
  EXPECT_EQ(record.m_nLockCnt, 0);
  EXPECT_EQ(record.m_pObjMap, nullptr);
  EXPECT_EQ(record.m_hHeap, GetProcessHeap());
}

// The file behind a module handle, without its directory.
std::u16string FileNameOf(HMODULE module) {
  WCHAR path[4096];
  const DWORD cch = GetModuleFileNameW(module, path, 4096);
  std::u16string name(reinterpret_cast<const char16_t *>(path), cch);
  const size_t sep = name.find_last_of(u"\\/");
  return sep == std::u16string::npos ? name : name.substr(sep + 1);
}

TEST(ModuleRecord, NamesTheLibraryItselfAsItsModule) {
  ASSERT_NE(_pModule->m_hInstResource, nullptr);
  EXPECT_EQ(_pModule->m_hInst, _pModule->m_hInstResource);
  const std::u16string file = FileNameOf(_pModule->m_hInstResource);
#if defined(_WIN32)
  EXPECT_EQ(file, u"qnutil.dll");
#else
  EXPECT_EQ(file.rfind(u"libqnutil.so", 0), 0u) << testing::PrintToString(file);
#endif
  // What an application asks for by the library's name.
  EXPECT_EQ(GetModuleHandleW(qn::AsW(u"qnutil.dll")), _pModule->m_hInstResource);
}

TEST(ModuleRecord, ItsCriticalSectionsAreReadyForUse) {
  for (CRITICAL_SECTION *cs : {&_pModule->m_csTypeInfoHolder, &_pModule->m_csWindowCreate, &_pModule->m_csObjMap}) {
    ASSERT_TRUE(TryEnterCriticalSection(cs));
    LeaveCriticalSection(cs);
  }
}

}  // namespace
