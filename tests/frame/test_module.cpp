// The module record as the module entry leaves it once the library is loaded.

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

TEST(ModuleRecord, NamesTheLibraryItselfAsItsModule) {
  HMODULE library = GetModuleHandleW(qn::AsW(u"qnutil.dll"));
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(_pModule->m_hInstResource, library);
  EXPECT_EQ(_pModule->m_hInst, library);
}

TEST(ModuleRecord, ItsCriticalSectionsAreReadyForUse) {
  for (CRITICAL_SECTION *cs : {&_pModule->m_csTypeInfoHolder, &_pModule->m_csWindowCreate, &_pModule->m_csObjMap}) {
    ASSERT_TRUE(TryEnterCriticalSection(cs));
    LeaveCriticalSection(cs);
  }
}

}  // namespace
