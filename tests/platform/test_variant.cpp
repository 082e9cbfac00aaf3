// Conformance of VARIANT lifetime: what VariantClear frees, what VariantCopy(Ind) duplicates.
#include <gtest/gtest.h>

#include "qnutil/utf16.h"
#include "qnutil/win32.h"
#include "support/com_doubles.h"

namespace {

TEST(Variant, ClearReleasesWhatItOwns) {
  qntest::CountingDispatch object;
  VARIANT v;
  VariantInit(&v);
  EXPECT_EQ(v.vt, VT_EMPTY);
  v.vt = VT_DISPATCH;
  v.pdispVal = &object;
  object.AddRef();
  EXPECT_EQ(VariantClear(&v), S_OK);
  EXPECT_EQ(v.vt, VT_EMPTY);
  EXPECT_EQ(object.Refs(), 1u);

  // A reference owns nothing.
  IDispatch *held = &object;
  v.vt = VT_DISPATCH | VT_BYREF;
  v.ppdispVal = &held;
  EXPECT_EQ(VariantClear(&v), S_OK);
  EXPECT_EQ(object.Refs(), 1u);

  v.vt = 0x7f;
  EXPECT_EQ(VariantClear(&v), DISP_E_BADVARTYPE);
  EXPECT_EQ(v.vt, 0x7f);

  // A locked array stays (the variant is emptied all the same).
  SAFEARRAY *locked = SafeArrayCreateVector(VT_I4, 0, 2);
  v.vt = VT_I4 | VT_ARRAY;
  v.parray = locked;
  SafeArrayLock(locked);
  EXPECT_EQ(VariantClear(&v), DISP_E_ARRAYISLOCKED);
  EXPECT_EQ(v.vt, VT_EMPTY);
  EXPECT_EQ(locked->cLocks, 1u);
  SafeArrayUnlock(locked);
  EXPECT_EQ(SafeArrayDestroy(locked), S_OK);
}

TEST(Variant, CopyDuplicatesAndCounts) {
  qntest::CountingDispatch object;
  VARIANT src, dest;
  VariantInit(&dest);
  src.vt = VT_BSTR;
  src.bstrVal = SysAllocString(qn::AsW(u"abc"));
  ASSERT_EQ(VariantCopy(&dest, &src), S_OK);
  EXPECT_NE(dest.bstrVal, src.bstrVal);
  EXPECT_EQ(SysStringLen(dest.bstrVal), 3u);
  VariantClear(&src);

  // The destination's old value goes; a NULL BSTR is copied as an empty one.
  src.vt = VT_BSTR;
  src.bstrVal = nullptr;
  ASSERT_EQ(VariantCopy(&dest, &src), S_OK);
  ASSERT_NE(dest.bstrVal, nullptr);
  EXPECT_EQ(SysStringLen(dest.bstrVal), 0u);

  src.vt = VT_DISPATCH;
  src.pdispVal = &object;
  ASSERT_EQ(VariantCopy(&dest, &src), S_OK);
  EXPECT_EQ(object.Refs(), 2u);
  VariantClear(&dest);
  EXPECT_EQ(object.Refs(), 1u);

  src.vt = VT_ARRAY | VT_BSTR;
  src.parray = SafeArrayCreateVector(VT_BSTR, 0, 1);
  LONG i = 0;
  BSTR text = SysAllocString(qn::AsW(u"x"));
  SafeArrayPutElement(src.parray, &i, text);
  SysFreeString(text);
  ASSERT_EQ(VariantCopy(&dest, &src), S_OK);
  EXPECT_NE(dest.parray, src.parray);
  BSTR back = nullptr;
  ASSERT_EQ(SafeArrayGetElement(dest.parray, &i, &back), S_OK);
  EXPECT_EQ(back[0], 'x');
  SysFreeString(back);
  VariantClear(&dest);
  VariantClear(&src);

  src.vt = 15;
  EXPECT_EQ(VariantCopy(&dest, &src), DISP_E_BADVARTYPE);
}

TEST(Variant, CopyIndFollowsReferences) {
  qntest::CountingDispatch object;
  VARIANT src, dest;
  VariantInit(&dest);
  LONG number = 5;
  src.vt = VT_I4 | VT_BYREF;
  src.plVal = &number;
  ASSERT_EQ(VariantCopyInd(&dest, &src), S_OK);
  EXPECT_EQ(dest.vt, VT_I4);
  EXPECT_EQ(dest.lVal, 5);

  BSTR text = SysAllocString(qn::AsW(u"ref"));
  src.vt = VT_BSTR | VT_BYREF;
  src.pbstrVal = &text;
  ASSERT_EQ(VariantCopyInd(&dest, &src), S_OK);
  EXPECT_EQ(dest.vt, VT_BSTR);
  EXPECT_NE(dest.bstrVal, text);
  VariantClear(&dest);
  SysFreeString(text);

  VARIANT inner;
  inner.vt = VT_DISPATCH;
  inner.pdispVal = &object;
  src.vt = VT_VARIANT | VT_BYREF;
  src.pvarVal = &inner;
  ASSERT_EQ(VariantCopyInd(&dest, &src), S_OK);
  EXPECT_EQ(dest.vt, VT_DISPATCH);
  EXPECT_EQ(object.Refs(), 2u);
  VariantClear(&dest);

  // In place: the reference is replaced by its value.
  src.vt = VT_I4 | VT_BYREF;
  src.plVal = &number;
  ASSERT_EQ(VariantCopyInd(&src, &src), S_OK);
  EXPECT_EQ(src.vt, VT_I4);
  EXPECT_EQ(src.lVal, 5);
  EXPECT_EQ(object.Refs(), 1u);
}

}  // namespace
