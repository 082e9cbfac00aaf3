// The VARIANT helpers against counting objects: optional parameters, argument tags, values read
// through chains of objects (cycles included), emptiness, and VARIANTs turned into bytes (text,
// byte and VARIANT arrays, objects), with every reference given back and nothing leaked when the
// heap fails.

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qnutil/variant.h"
#include "support/com_doubles.h"
#include "support/heap_faults.h"

namespace {

using qn::AsW;
using qntest::CountingDispatch;
using Bytes = std::vector<BYTE>;

// A VARIANT that clears itself.
struct Var {
  VARIANT v;
  Var() { VariantInit(&v); }
  ~Var() { VariantClear(&v); }
  Var(const Var &) = delete;
  Var &operator=(const Var &) = delete;
  VARIANT *operator&() { return &v; }
};

VARIANT I4(LONG n) {
  VARIANT v;
  VariantInit(&v);
  V_VT(&v) = VT_I4;
  V_I4(&v) = n;
  return v;
}

VARIANT Disp(IDispatch *p) {
  VARIANT v;
  VariantInit(&v);
  V_VT(&v) = VT_DISPATCH;
  V_DISPATCH(&v) = p;
  return v;
}

// A BSTR VARIANT the caller clears.
VARIANT Str(const char16_t *text) {
  VARIANT v;
  VariantInit(&v);
  V_VT(&v) = VT_BSTR;
  V_BSTR(&v) = SysAllocString(AsW(text));
  return v;
}

std::u16string TextOf(const VARIANT &v) {
  return V_BSTR(&v) ? std::u16string(reinterpret_cast<const char16_t *>(V_BSTR(&v)), SysStringLen(V_BSTR(&v)))
                    : std::u16string();
}

TEST(OptionalParam, FillsLeftOutParametersAndConverts) {
  Var param;
  V_VT(&param) = VT_ERROR;
  V_ERROR(&param) = DISP_E_PARAMNOTFOUND;
  VARIANT five = I4(5);
  EXPECT_EQ(ConvertOptionalVariantParam(&param, VT_BSTR, &five), S_OK);
  EXPECT_EQ(V_VT(&param), VT_BSTR);
  EXPECT_EQ(TextOf(param.v), u"5");
  EXPECT_EQ(V_VT(&five), VT_I4);

  struct Row {
    VARTYPE vt;
  } rows[] = {{VT_I4}, {VT_BOOL}, {VT_BSTR}};
  for (const Row &row : rows) {
    Var left;
    V_VT(&left) = VT_ERROR;
    V_ERROR(&left) = 0;
    EXPECT_EQ(ConvertOptionalVariantParam(&left, row.vt, nullptr), S_OK);
    ASSERT_EQ(V_VT(&left), row.vt);
    if (row.vt == VT_I4) {
      EXPECT_EQ(V_I4(&left), 0);
    } else if (row.vt == VT_BOOL) {
      EXPECT_EQ(V_BOOL(&left), VARIANT_FALSE);
    } else {
      EXPECT_EQ(TextOf(left.v), u"");
    }
  }

  Var text;
  text.v = Str(u"12");
  EXPECT_EQ(ConvertOptionalVariantParam(&text, VT_I4, &five), S_OK);  // not left out: the default is unused
  EXPECT_EQ(V_I4(&text), 12);
  Var word;
  word.v = Str(u"twelve");
  EXPECT_EQ(ConvertOptionalVariantParam(&word, VT_I4, nullptr), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(TextOf(word.v), u"twelve");
}

TEST(EnsureParamType, ComparesAllSixteenBits) {
  VARIANT args[2] = {I4(1), I4(2)};
  V_VT(&args[1]) = VT_I2;
  DISPPARAMS params = {args, nullptr, 2, 0};
  UINT argErr = 99;
  EXPECT_EQ(EnsureParamType(&params, 0, VT_I4, &argErr), S_OK);
  EXPECT_EQ(argErr, 99u);
  EXPECT_EQ(EnsureParamType(&params, 0, VT_I4 | VT_BYREF, &argErr), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(argErr, 0u);
  EXPECT_EQ(EnsureParamType(&params, 1, VT_I4, &argErr), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(argErr, 1u);
  EXPECT_EQ(EnsureParamType(&params, 1, VT_I4, nullptr), DISP_E_TYPEMISMATCH);
}

TEST(DispValue, FollowsObjectsToAValue) {
  CountingDispatch inner(I4(7));
  CountingDispatch outer(Disp(&inner));
  EXPECT_EQ(inner.Refs(), 2u);  // outer's value holds one
  Var result;
  EXPECT_EQ(GetDispValueProp(&outer, &result), S_OK);
  EXPECT_EQ(V_VT(&result), VT_I4);
  EXPECT_EQ(V_I4(&result), 7);
  EXPECT_EQ(outer.Refs(), 1u);
  EXPECT_EQ(inner.Refs(), 2u);

  EXPECT_EQ(GetDispValueProp(nullptr, &result), E_INVALIDARG);

  CountingDispatch failing;
  failing.FailInvokeWith(DISP_E_EXCEPTION);
  CountingDispatch toFailing(Disp(&failing));
  CountingDispatch toNull(Disp(nullptr));
  struct Row {
    IDispatch *object;
    HRESULT hr;
  } rows[] = {{&failing, E_FAIL}, {&toFailing, E_FAIL}, {&toNull, E_INVALIDARG}};
  for (const Row &row : rows) {
    Var r;
    EXPECT_EQ(GetDispValueProp(row.object, &r), row.hr);
    EXPECT_EQ(V_VT(&r), VT_EMPTY);
  }
  EXPECT_EQ(failing.Refs(), 2u);
  EXPECT_EQ(toFailing.Refs(), 1u);
}

// An object whose value is itself, and two whose values name each other: the reads stop at the
// bound, every reference is given back.
TEST(DispValue, CyclesEndAtTheBound) {
  CountingDispatch self;
  VARIANT selfValue = Disp(&self);
  VariantCopy(&self.Value(), &selfValue);
  CountingDispatch a, b;
  VARIANT toA = Disp(&a), toB = Disp(&b);
  VariantCopy(&a.Value(), &toB);
  VariantCopy(&b.Value(), &toA);

  Var result;
  EXPECT_EQ(GetDispValueProp(&self, &result), E_FAIL);
  EXPECT_EQ(V_VT(&result), VT_EMPTY);
  EXPECT_EQ(self.Invokes(), qn::kMaxValueChain);
  EXPECT_FALSE(IsVariantEmpty(&selfValue));
  EXPECT_EQ(GetDispValueProp(&a, &result), E_FAIL);
  EXPECT_EQ(a.Invokes() + b.Invokes(), qn::kMaxValueChain);
  BYTE *pb = reinterpret_cast<BYTE *>(1);
  DWORD cb = 1;
  EXPECT_EQ(LoadVariantToByteBuffer(toA, &pb, &cb), E_FAIL);
  EXPECT_EQ(pb, nullptr);
  EXPECT_EQ(cb, 0u);
  EXPECT_EQ(self.Refs(), 2u);
  EXPECT_EQ(a.Refs(), 2u);
  EXPECT_EQ(b.Refs(), 2u);
  // Break the cycles so that the objects' destructors do not release each other after the end.
  VariantClear(&self.Value());
  VariantClear(&a.Value());
  VariantClear(&b.Value());
}

TEST(VariantEmpty, ByTagAndThroughObjects) {
  CountingDispatch emptyValue;
  CountingDispatch numberValue(I4(0));
  CountingDispatch toEmpty(Disp(&emptyValue));
  CountingDispatch failing;
  failing.FailInvokeWith(E_UNEXPECTED);
  CountingDispatch toNull(Disp(nullptr));
  VARIANT nullVariant;
  VariantInit(&nullVariant);
  V_VT(&nullVariant) = VT_NULL;
  VARIANT four = I4(4);
  VARIANT refToNull, refToFour, refToNothing;
  V_VT(&refToNull) = V_VT(&refToFour) = V_VT(&refToNothing) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(&refToNull) = &nullVariant;
  V_VARIANTREF(&refToFour) = &four;
  V_VARIANTREF(&refToNothing) = nullptr;
  VARIANT error0, errorMissing;
  V_VT(&error0) = V_VT(&errorMissing) = VT_ERROR;
  V_ERROR(&error0) = 0;
  V_ERROR(&errorMissing) = DISP_E_PARAMNOTFOUND;
  Var emptyText, nullText;
  emptyText.v = Str(u"");
  V_VT(&nullText) = VT_BSTR;
  V_BSTR(&nullText) = nullptr;

  struct Row {
    const char *name;
    const VARIANT *v;
    bool empty;
  } rows[] = {
      {"null pointer", nullptr, true},
      {"VT_NULL", &nullVariant, true},
      {"error 0", &error0, true},
      {"left out", &errorMissing, false},
      {"empty text", &emptyText.v, false},
      {"null text", &nullText.v, false},
      {"ref to VT_NULL", &refToNull, true},
      {"ref to NULL", &refToNothing, true},
      {"ref to 4", &refToFour, false},
      {"null object", &toNull.Value(), true},
  };
  for (const Row &row : rows) EXPECT_EQ(IsVariantEmpty(row.v), row.empty) << row.name;

  struct ObjectRow {
    const char *name;
    CountingDispatch *object;
    bool empty;
  } objects[] = {
      {"empty value", &emptyValue, true},   {"value 0", &numberValue, false},
      {"object to empty", &toEmpty, true},  {"failing read", &failing, false},
      {"object to NULL", &toNull, false},
  };
  for (const ObjectRow &row : objects) {
    const ULONG refs = row.object->Refs();
    VARIANT v = Disp(row.object);
    EXPECT_EQ(IsVariantEmpty(&v), row.empty) << row.name;
    EXPECT_EQ(row.object->Refs(), refs) << row.name;
  }
}

struct LoadResult {
  HRESULT hr;
  Bytes bytes;
};

LoadResult Load(const VARIANT &v) {
  BYTE *pb = reinterpret_cast<BYTE *>(1);
  DWORD cb = 77;
  LoadResult r{LoadVariantToByteBuffer(v, &pb, &cb), {}};
  if (SUCCEEDED(r.hr)) {
    r.bytes.assign(pb, pb + cb);
    _operator_delete(pb);
  } else {
    EXPECT_EQ(pb, nullptr);
    EXPECT_EQ(cb, 0u);
  }
  return r;
}

TEST(VariantBytes, TextListsOfNumbers) {
  struct Row {
    const char16_t *text;
    HRESULT hr;
    Bytes bytes;
  } rows[] = {
      {u"1, 2,255", S_OK, {1, 2, 255}},
      {u"1,", S_OK, {1, 0}},
      {u"1 ,2", S_OK, {1, 0}},
      {u",,", S_OK, {0, 0, 0}},
      {u"300,256,\t\r\n 65", S_OK, {44, 0, 65}},
      {u"4294967296,4294967295", S_OK, {255, 255}},
      {u"007x", S_OK, {7}},
      {u" ", E_INVALIDARG, {}},
      {u"", E_INVALIDARG, {}},
      {u"1,-2", E_INVALIDARG, {}},
      {u"1,+2", E_INVALIDARG, {}},
      {u"a", E_INVALIDARG, {}},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(std::string(row.text, row.text + std::char_traits<char16_t>::length(row.text)));
    Var text;
    text.v = Str(row.text);
    const LoadResult r = Load(text.v);
    EXPECT_EQ(r.hr, row.hr);
    EXPECT_EQ(r.bytes, row.bytes);
    VARIANT ref;
    V_VT(&ref) = VT_BYREF | VT_BSTR;
    V_BSTRREF(&ref) = &V_BSTR(&text);
    EXPECT_EQ(Load(ref).bytes, row.bytes);
  }
  Var nullText;
  V_VT(&nullText) = VT_BSTR;
  V_BSTR(&nullText) = nullptr;
  EXPECT_EQ(Load(nullText.v).hr, E_INVALIDARG);
  EXPECT_EQ(Load(I4(4)).hr, E_INVALIDARG);
}

// An array VARIANT that destroys its array.
struct ArrayVar : Var {
  ArrayVar(VARTYPE vtElements, LONG lower, ULONG count, VARTYPE tag) {
    V_VT(&v) = tag;
    V_ARRAY(&v) = SafeArrayCreateVector(vtElements, lower, count);
  }
  void *Element(LONG i) {
    void *pv = nullptr;
    EXPECT_EQ(SafeArrayPtrOfIndex(V_ARRAY(&v), &i, &pv), S_OK);
    return pv;
  }
};

TEST(VariantBytes, ArraysOfBytesAndVariants) {
  ArrayVar bytes(VT_UI1, 1, 3, VT_ARRAY | VT_UI1);
  for (LONG i = 1; i <= 3; ++i) *static_cast<BYTE *>(bytes.Element(i)) = static_cast<BYTE>(10 * i);
  EXPECT_EQ(Load(bytes.v).bytes, (Bytes{10, 20, 30}));
  VARIANT ref;
  V_VT(&ref) = VT_BYREF | VT_ARRAY | VT_UI1;
  V_ARRAYREF(&ref) = &V_ARRAY(&bytes);
  EXPECT_EQ(Load(ref).bytes, (Bytes{10, 20, 30}));

  CountingDispatch five(I4(5));
  ArrayVar variants(VT_VARIANT, 0, 5, VT_ARRAY | VT_VARIANT);
  *static_cast<VARIANT *>(variants.Element(0)) = I4(1);
  *static_cast<VARIANT *>(variants.Element(1)) = Str(u"2");
  VARIANT *three = static_cast<VARIANT *>(variants.Element(2));
  V_VT(three) = VT_R8;
  V_R8(three) = 3.0;
  VARIANT *byte = static_cast<VARIANT *>(variants.Element(3));
  V_VT(byte) = VT_UI1;
  V_UI1(byte) = 200;
  *static_cast<VARIANT *>(variants.Element(4)) = Disp(&five);
  five.AddRef();  // the array's reference, released when the array goes
  EXPECT_EQ(Load(variants.v).bytes, (Bytes{1, 2, 3, 200, 5}));
  EXPECT_EQ(five.Refs(), 2u);
  // The array's features decide what it holds, not the tag.
  V_VT(&variants) = VT_ARRAY | VT_UI1;
  EXPECT_EQ(Load(variants.v).bytes, (Bytes{1, 2, 3, 200, 5}));

  struct Row {
    const char *name;
    VARIANT element;
    HRESULT hr;
  } rows[] = {
      {"300", I4(300), DISP_E_OVERFLOW},
      {"-1", I4(-1), DISP_E_OVERFLOW},
      {"text", Str(u"x"), DISP_E_TYPEMISMATCH},
  };
  for (Row &row : rows) {
    ArrayVar one(VT_VARIANT, 0, 2, VT_ARRAY | VT_VARIANT);
    *static_cast<VARIANT *>(one.Element(0)) = I4(1);
    *static_cast<VARIANT *>(one.Element(1)) = row.element;
    EXPECT_EQ(Load(one.v).hr, row.hr) << row.name;
    EXPECT_EQ(V_ARRAY(&one)->cLocks, 0) << row.name;  // the data was given back
  }

  ArrayVar empty(VT_UI1, 0, 0, VT_ARRAY | VT_UI1);
  EXPECT_EQ(Load(empty.v).hr, E_INVALIDARG);
  SAFEARRAYBOUND bounds[2] = {{2, 0}, {2, 0}};
  Var square;
  V_VT(&square) = VT_ARRAY | VT_UI1;
  V_ARRAY(&square) = SafeArrayCreate(VT_UI1, 2, bounds);
  EXPECT_EQ(Load(square.v).hr, E_INVALIDARG);
  VARIANT nullArray;
  V_VT(&nullArray) = VT_ARRAY | VT_UI1;
  V_ARRAY(&nullArray) = nullptr;
  EXPECT_EQ(Load(nullArray).hr, E_INVALIDARG);
  ArrayVar numbers(VT_I4, 0, 2, VT_ARRAY | VT_I4);
  EXPECT_EQ(Load(numbers.v).hr, E_INVALIDARG);
}

// A descriptor whose data cannot be granted: the failure is answered and the data never read.
TEST(VariantBytes, LockedArrayIsNotRead) {
  SAFEARRAY psa = {};
  psa.cDims = 1;
  psa.cbElements = 1;
  psa.cLocks = 0xFFFF;
  psa.pvData = nullptr;
  psa.rgsabound[0].cElements = 4;
  VARIANT v;
  V_VT(&v) = VT_ARRAY | VT_UI1;
  V_ARRAY(&v) = &psa;
  const HRESULT hr = Load(v).hr;
  EXPECT_TRUE(FAILED(hr)) << std::hex << hr;
  EXPECT_EQ(psa.cLocks, 0xFFFF);
}

TEST(VariantBytes, ObjectsAreReadForTheirValue) {
  Var list;
  list.v = Str(u"9,8");
  CountingDispatch text(list.v);
  CountingDispatch toText(Disp(&text));
  CountingDispatch failing;
  failing.FailInvokeWith(DISP_E_MEMBERNOTFOUND);
  CountingDispatch toNull(Disp(nullptr));
  CountingDispatch number(I4(3));
  struct Row {
    const char *name;
    IDispatch *object;
    HRESULT hr;
    Bytes bytes;
  } rows[] = {
      {"text", &text, S_OK, {9, 8}},
      {"object to text", &toText, S_OK, {9, 8}},
      {"failing", &failing, E_FAIL, {}},
      {"object to NULL", &toNull, E_INVALIDARG, {}},
      {"number", &number, E_INVALIDARG, {}},
      {"NULL", nullptr, E_INVALIDARG, {}},
  };
  for (const Row &row : rows) {
    const LoadResult r = Load(Disp(row.object));
    EXPECT_EQ(r.hr, row.hr) << row.name;
    EXPECT_EQ(r.bytes, row.bytes) << row.name;
  }
  for (CountingDispatch *d : {&text, &failing, &toNull, &number, &toText}) EXPECT_EQ(d->Refs(), d == &text ? 2u : 1u);
}

// The block of the text path failing: out-parameters clear, the library's and the platform's heaps
// as before.
TEST(VariantBytesOutOfMemory, FailedBlockLeavesNothing) {
  struct Out {
    Var text;
    BYTE *pb = reinterpret_cast<BYTE *>(1);
    DWORD cb = 5;
    ~Out() {
      if (cb != 0) _operator_delete(pb);
    }
  };
  const int attempts = qntest::RunUntilSuccess(
      [] {
        auto o = std::make_unique<Out>();
        o->text.v = Str(u"1,2,3");
        return o;
      },
      [](std::unique_ptr<Out> &o) { LoadVariantToByteBuffer(o->text.v, &o->pb, &o->cb); },
      [](std::unique_ptr<Out> &o) {
        EXPECT_EQ(o->pb, nullptr);
        EXPECT_EQ(o->cb, 0u);
      });
  EXPECT_EQ(attempts, 1);
}

}  // namespace
