// Type-information lookup against doubles: which interface the class comes from, the way through
// the object's type library, the default source interface among several implemented ones, and every
// reference and type-attribute record given back on every path.

#include <vector>

#include <gtest/gtest.h>

#include "qnutil/typeinfo.h"
#include "support/typeinfo_doubles.h"

namespace {

using qntest::ClassInfoObject;
using qntest::TypeInfoDouble;
using qntest::TypeLibDouble;

const CLSID kClass = {0x1c2b3a49, 0x5d6e, 0x4f70, {0x81, 0x92, 0xa3, 0xb4, 0xc5, 0xd6, 0xe7, 0xf8}};

// A coclass in a library beside the object's dispatch interface; the class's interfaces are set by
// each test.
struct World {
  TypeInfoDouble coclass, dispatchInterface, events, otherEvents, incoming;
  TypeLibDouble library;
  ClassInfoObject object;

  World() {
    library.infos = {{kClass, &coclass}};
    dispatchInterface.containingLib = &library;
    object.dispatchInfo = &dispatchInterface;
    coclass.refs = {{1, &incoming}, {2, &otherEvents}, {3, &events}};
  }
  void ExpectAllGivenBack() {
    for (TypeInfoDouble *t : {&coclass, &dispatchInterface, &events, &otherEvents, &incoming}) {
      EXPECT_EQ(t->Refs(), 1u);
      EXPECT_EQ(t->attrsLent, 0);
    }
    EXPECT_EQ(library.Refs(), 1u);
    EXPECT_EQ(object.Refs(), 1u);
  }
};

// Releases what a lookup handed out and answers it.
ITypeInfo *Take(ITypeInfo *p) {
  if (p) p->Release();
  return p;
}

TEST(CoClassTypeInfo, ProviderFirstThenTheTypeLibrary) {
  struct Row {
    const char *name;
    bool classInfo, classInfo2;
    const CLSID *clsid;
    HRESULT hr;
    bool fromProvider;
  } rows[] = {
      {"provider, class given", true, false, &kClass, S_OK, true},
      {"provider 2 only", false, true, &GUID_NULL, S_OK, true},
      {"type library", false, false, &kClass, S_OK, false},
  };
  for (const Row &row : rows) {
    World w;
    TypeInfoDouble provided;
    w.object.offersClassInfo = row.classInfo;
    w.object.offersClassInfo2 = row.classInfo2;
    w.object.classInfo = &provided;
    ITypeInfo *pti = reinterpret_cast<ITypeInfo *>(1);
    EXPECT_EQ(GetCoClassTypeInfo(&w.object, &pti, *row.clsid), row.hr) << row.name;
    EXPECT_EQ(pti, row.fromProvider ? static_cast<ITypeInfo *>(&provided) : &w.coclass) << row.name;
    EXPECT_EQ(pti->Release(), 1u) << row.name;  // exactly one reference was handed out
    w.ExpectAllGivenBack();
    EXPECT_EQ(provided.Refs(), 1u);
    if (!row.fromProvider) {
      EXPECT_EQ(w.object.TypeInfoLocale(), static_cast<LCID>(LOCALE_SYSTEM_DEFAULT));
    }
  }
}

TEST(CoClassTypeInfo, FailuresHandOutNothing) {
  const CLSID unknownClass = {0x1, 0x2, 0x3, {4, 5, 6, 7, 8, 9, 10, 11}};
  struct Row {
    const char *name;
    const CLSID *clsid;
    bool noTypeInfo, noLibrary, providerFails;
    HRESULT hr;
  } rows[] = {
      {"no class identifier", &GUID_NULL, false, false, false, E_FAIL},
      {"unknown class", &unknownClass, false, false, false, TYPE_E_ELEMENTNOTFOUND},
      {"no dispatch type information", &kClass, true, false, false, DISP_E_BADINDEX},
      {"no containing library", &kClass, false, true, false, E_NOTIMPL},
      {"provider fails", &kClass, false, false, true, E_NOTIMPL},
  };
  for (const Row &row : rows) {
    World w;
    if (row.noTypeInfo) {
      w.object.dispatchInfo = nullptr;
      w.object.typeInfoResult = DISP_E_BADINDEX;
    }
    if (row.noLibrary) w.dispatchInterface.containingLib = nullptr;
    w.object.offersClassInfo = row.providerFails;
    ITypeInfo *pti = reinterpret_cast<ITypeInfo *>(1);
    EXPECT_EQ(GetCoClassTypeInfo(&w.object, &pti, *row.clsid), row.hr) << row.name;
    EXPECT_EQ(pti, nullptr) << row.name;
    w.ExpectAllGivenBack();
  }

  // Without a class-information interface and without a class, nothing but the two questions.
  World w;
  ITypeInfo *pti = nullptr;
  EXPECT_EQ(GetCoClassTypeInfo(&w.object, &pti, GUID_NULL), E_FAIL);
  EXPECT_EQ(w.object.Calls(), 2);
  EXPECT_EQ(GetCoClassTypeInfo(nullptr, &pti, GUID_NULL), E_FAIL);
  EXPECT_EQ(GetCoClassTypeInfo(nullptr, &pti, kClass), E_INVALIDARG);
  EXPECT_EQ(pti, nullptr);
}

TEST(DefaultEvents, FirstDefaultSourceInterface) {
  const INT kDefault = IMPLTYPEFLAG_FDEFAULT, kSource = IMPLTYPEFLAG_FSOURCE;
  struct Row {
    const char *name;
    std::vector<TypeInfoDouble::ImplType> implTypes;
    HRESULT hr;
    int expected;  // 0: none, else the HREFTYPE of the answer
  } rows[] = {
      {"default incoming, source, default source",
       {{kDefault, 1, S_OK}, {kSource, 2, S_OK}, {kDefault | kSource, 3, S_OK}}, S_OK, 3},
      {"two default sources: the first", {{kDefault | kSource, 2, S_OK}, {kDefault | kSource, 3, S_OK}}, S_OK, 2},
      {"unreadable flags are passed over",
       {{kDefault | kSource, 2, E_UNEXPECTED}, {kDefault | kSource | IMPLTYPEFLAG_FRESTRICTED, 3, S_OK}}, S_OK, 3},
      {"no source", {{kDefault, 1, S_OK}}, E_FAIL, 0},
      {"sources, none default", {{kDefault, 1, S_OK}, {kSource, 2, S_OK}, {kSource, 3, S_OK}}, E_FAIL, 0},
      {"reference not found", {{kDefault | kSource, 9, S_OK}}, E_FAIL, 0},
      {"no interfaces", {}, E_FAIL, 0},
  };
  for (const Row &row : rows) {
    World w;
    w.coclass.implTypes = row.implTypes;
    ITypeInfo *pti = reinterpret_cast<ITypeInfo *>(1);
    EXPECT_EQ(GetTypeInfoForDefaultEvents(&w.object, &pti, kClass), row.hr) << row.name;
    ITypeInfo *expected = row.expected == 2 ? &w.otherEvents : row.expected == 3 ? &w.events : nullptr;
    EXPECT_EQ(Take(pti), expected) << row.name;
    w.ExpectAllGivenBack();
  }
}

TEST(DefaultEvents, LaterFailuresAreEFail) {
  World w;
  w.coclass.implTypes = {{IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE, 3, S_OK}};
  ITypeInfo *pti = nullptr;
  // The class lookup's own failure passes unchanged.
  EXPECT_EQ(GetTypeInfoForDefaultEvents(&w.object, &pti, GUID_NULL), E_FAIL);
  w.library.infos.clear();
  EXPECT_EQ(GetTypeInfoForDefaultEvents(&w.object, &pti, kClass), TYPE_E_ELEMENTNOTFOUND);
  w.library.infos = {{kClass, &w.coclass}};
  w.coclass.typeAttrResult = E_OUTOFMEMORY;
  EXPECT_EQ(GetTypeInfoForDefaultEvents(&w.object, &pti, kClass), E_FAIL);
  w.coclass.typeAttrResult = S_OK;
  w.coclass.refTypeResult = TYPE_E_ELEMENTNOTFOUND;
  EXPECT_EQ(GetTypeInfoForDefaultEvents(&w.object, &pti, kClass), E_FAIL);
  EXPECT_EQ(pti, nullptr);
  w.ExpectAllGivenBack();
}

}  // namespace
