// Conformance of SAFEARRAY: descriptors and features as Windows makes them per element type, bounds,
// locks, element access, and what destruction frees or releases.
#include <gtest/gtest.h>

#include "qnutil/utf16.h"
#include "qnutil/win32.h"
#include "support/com_doubles.h"

namespace {

TEST(SafeArray, FeaturesAndElementSizesByType) {
  struct Case {
    VARTYPE vt;
    USHORT features;  // 0: creation fails
    ULONG size;
  } const cases[] = {
      {VT_EMPTY, 0, 0},
      {VT_NULL, 0, 0},
      {VT_I2, FADF_HAVEVARTYPE, 2},
      {VT_I4, FADF_HAVEVARTYPE, 4},
      {VT_R8, FADF_HAVEVARTYPE, 8},
      {VT_CY, FADF_HAVEVARTYPE, 8},
      {VT_BSTR, FADF_HAVEVARTYPE | FADF_BSTR, sizeof(void *)},
      {VT_DISPATCH, FADF_HAVEIID | FADF_DISPATCH, sizeof(void *)},
      {VT_ERROR, FADF_HAVEVARTYPE, 4},
      {VT_BOOL, FADF_HAVEVARTYPE, 2},
      {VT_VARIANT, FADF_HAVEVARTYPE | FADF_VARIANT, sizeof(VARIANT)},
      {VT_UNKNOWN, FADF_HAVEIID | FADF_UNKNOWN, sizeof(void *)},
      {VT_DECIMAL, FADF_HAVEVARTYPE, 16},
      {15, 0, 0},
      {VT_I1, FADF_HAVEVARTYPE, 1},
      {VT_UI1, FADF_HAVEVARTYPE, 1},
      {VT_UI8, FADF_HAVEVARTYPE, 8},
      {VT_UINT, FADF_HAVEVARTYPE, 4},
      {VT_VOID, 0, 0},
      {VT_RECORD, 0, 0},
      {VT_INT_PTR, FADF_HAVEVARTYPE, sizeof(void *)},
      {VT_LPSTR, 0, 0},
  };
  for (const Case &c : cases) {
    SAFEARRAYBOUND bounds[2] = {{3, 1}, {2, -1}};
    SAFEARRAY *psa = SafeArrayCreate(c.vt, 2, bounds);
    if (!c.features) {
      EXPECT_EQ(psa, nullptr) << c.vt;
      continue;
    }
    ASSERT_NE(psa, nullptr) << c.vt;
    EXPECT_EQ(psa->fFeatures, c.features) << c.vt;
    EXPECT_EQ(psa->cbElements, c.size) << c.vt;
    EXPECT_EQ(SafeArrayGetElemsize(psa), c.size);
    EXPECT_EQ(psa->cLocks, 0u);
    VARTYPE vt = 0;
    EXPECT_EQ(SafeArrayGetVartype(psa, &vt), S_OK);
    EXPECT_EQ(vt, c.vt);
    // The descriptor lists the bounds last dimension first.
    EXPECT_EQ(psa->rgsabound[0].cElements, 2u);
    EXPECT_EQ(psa->rgsabound[0].lLbound, -1);
    EXPECT_EQ(psa->rgsabound[1].cElements, 3u);
    EXPECT_EQ(psa->rgsabound[1].lLbound, 1);
    EXPECT_EQ(SafeArrayDestroy(psa), S_OK);
  }
  SAFEARRAYBOUND bound = {1, 0};
  EXPECT_EQ(SafeArrayCreate(VT_I4, 0, &bound), nullptr);
}

TEST(SafeArray, BoundsLocksAndIndices) {
  SAFEARRAY *psa = SafeArrayCreateVector(VT_I4, 5, 3);
  ASSERT_NE(psa, nullptr);
  EXPECT_EQ(psa->fFeatures, 0x2000 | FADF_HAVEVARTYPE);  // Windows' mark of a vector's inline data.
  EXPECT_EQ(SafeArrayGetDim(psa), 1u);
  LONG lower = 0, upper = 0;
  EXPECT_EQ(SafeArrayGetLBound(psa, 1, &lower), S_OK);
  EXPECT_EQ(SafeArrayGetUBound(psa, 1, &upper), S_OK);
  EXPECT_EQ(lower, 5);
  EXPECT_EQ(upper, 7);
  EXPECT_EQ(SafeArrayGetLBound(psa, 0, &lower), DISP_E_BADINDEX);
  EXPECT_EQ(SafeArrayGetUBound(psa, 2, &upper), DISP_E_BADINDEX);

  for (LONG i = 5; i <= 7; ++i) {
    LONG value = i * 10;
    EXPECT_EQ(SafeArrayPutElement(psa, &i, &value), S_OK);
  }
  void *data = nullptr;
  ASSERT_EQ(SafeArrayAccessData(psa, &data), S_OK);
  EXPECT_EQ(psa->cLocks, 1u);
  EXPECT_EQ(static_cast<LONG *>(data)[2], 70);
  // A locked array is not destroyed.
  EXPECT_EQ(SafeArrayDestroy(psa), DISP_E_ARRAYISLOCKED);
  EXPECT_EQ(SafeArrayUnaccessData(psa), S_OK);
  EXPECT_EQ(SafeArrayUnlock(psa), E_UNEXPECTED);

  for (LONG bad : {4, 8}) {
    void *cell = nullptr;
    LONG value = 0;
    EXPECT_EQ(SafeArrayPtrOfIndex(psa, &bad, &cell), DISP_E_BADINDEX);
    EXPECT_EQ(SafeArrayGetElement(psa, &bad, &value), DISP_E_BADINDEX);
  }
  LONG index = 6;
  LONG value = 0;
  EXPECT_EQ(SafeArrayGetElement(psa, &index, &value), S_OK);
  EXPECT_EQ(value, 60);
  EXPECT_EQ(SafeArrayDestroy(psa), S_OK);
  EXPECT_EQ(SafeArrayDestroy(nullptr), S_OK);
}

TEST(SafeArray, MultidimensionalIndicesInCallerOrder) {
  SAFEARRAYBOUND bounds[2] = {{2, 0}, {3, 10}};  // [0..1][10..12]
  SAFEARRAY *psa = SafeArrayCreate(VT_I2, 2, bounds);
  ASSERT_NE(psa, nullptr);
  LONG at[2] = {1, 10};
  void *cell = nullptr;
  ASSERT_EQ(SafeArrayPtrOfIndex(psa, at, &cell), S_OK);
  // The left-most index varies fastest in memory.
  EXPECT_EQ(static_cast<SHORT *>(cell) - static_cast<SHORT *>(psa->pvData), 1);
  LONG far_end[2] = {1, 12};
  ASSERT_EQ(SafeArrayPtrOfIndex(psa, far_end, &cell), S_OK);
  EXPECT_EQ(static_cast<SHORT *>(cell) - static_cast<SHORT *>(psa->pvData), 5);
  LONG outside[2] = {2, 10};
  EXPECT_EQ(SafeArrayPtrOfIndex(psa, outside, &cell), DISP_E_BADINDEX);
  EXPECT_EQ(SafeArrayDestroy(psa), S_OK);
}

TEST(SafeArray, ElementsAreCopiedAndOwned) {
  qntest::CountingDispatch object;
  SAFEARRAY *strings = SafeArrayCreateVector(VT_BSTR, 0, 2);
  SAFEARRAY *variants = SafeArrayCreateVector(VT_VARIANT, 0, 2);
  SAFEARRAY *objects = SafeArrayCreateVector(VT_DISPATCH, 0, 2);
  ASSERT_TRUE(strings && variants && objects);

  LONG i = 1;
  BSTR text = SysAllocString(qn::AsW(u"text"));
  ASSERT_EQ(SafeArrayPutElement(strings, &i, text), S_OK);
  BSTR back = nullptr;
  ASSERT_EQ(SafeArrayGetElement(strings, &i, &back), S_OK);
  EXPECT_NE(back, text);
  EXPECT_EQ(SysStringLen(back), 4u);
  SysFreeString(back);
  SysFreeString(text);

  VARIANT v;
  v.vt = VT_DISPATCH;
  v.pdispVal = &object;
  ASSERT_EQ(SafeArrayPutElement(variants, &i, &v), S_OK);
  EXPECT_EQ(object.Refs(), 2u);
  VARIANT got;
  ASSERT_EQ(SafeArrayGetElement(variants, &i, &got), S_OK);
  EXPECT_EQ(got.pdispVal, &object);
  EXPECT_EQ(object.Refs(), 3u);
  VariantClear(&got);

  ASSERT_EQ(SafeArrayPutElement(objects, &i, static_cast<IDispatch *>(&object)), S_OK);
  EXPECT_EQ(object.Refs(), 3u);
  // Replacing an element releases the old one.
  ASSERT_EQ(SafeArrayPutElement(objects, &i, nullptr), S_OK);
  EXPECT_EQ(object.Refs(), 2u);
  ASSERT_EQ(SafeArrayPutElement(objects, &i, static_cast<IDispatch *>(&object)), S_OK);

  // Destruction frees the strings, clears the variants and releases the objects.
  EXPECT_EQ(SafeArrayDestroy(strings), S_OK);
  EXPECT_EQ(SafeArrayDestroy(variants), S_OK);
  EXPECT_EQ(object.Refs(), 2u);
  EXPECT_EQ(SafeArrayDestroy(objects), S_OK);
  EXPECT_EQ(object.Refs(), 1u);
}

}  // namespace
