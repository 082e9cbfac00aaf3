// The sources and targets of the VariantChangeType conformance table, and the one-line text a
// conversion's outcome is compared by ("I4:12", "BSTR:1.5", "E:80020005", ...).
#pragma once

#include <stdio.h>

#include <string>

#include "qnutil/win32.h"
#include "support/com_doubles.h"

namespace qntest {

// Storage a source refers to: byref sources point into it, dispatch sources at its object.
struct VariantSources {
  LONG byref_i4 = 7;
  VARIANT_BOOL byref_bool = VARIANT_TRUE;
  BSTR byref_bstr = SysAllocString(qn::AsW(u" 3 "));
  VARIANT byref_var{};
  CountingDispatch object_i4;
  CountingDispatch object_text;

  VariantSources() {
    byref_var.vt = VT_R8;
    byref_var.dblVal = 2.5;
    object_i4.Value().vt = VT_I4;
    object_i4.Value().lVal = 42;
    object_text.Value().vt = VT_BSTR;
    object_text.Value().bstrVal = SysAllocString(qn::AsW(u"2.5"));
  }
  ~VariantSources() { SysFreeString(byref_bstr); }
  VariantSources(const VariantSources &) = delete;
  VariantSources &operator=(const VariantSources &) = delete;

  // Source number i (a VARIANT that owns nothing: BSTR sources are made by the caller's Text()),
  // false past the last one. name is what the table's rows are labelled with.
  bool Get(int i, VARIANT *v, const char **name, const char16_t **text) {
    VariantInit(v);
    *text = nullptr;
    switch (i) {
      case 0: *name = "EMPTY"; return true;
      case 1: *name = "NULL"; v->vt = VT_NULL; return true;
      case 2: *name = "I2 0"; v->vt = VT_I2; v->iVal = 0; return true;
      case 3: *name = "I2 -1"; v->vt = VT_I2; v->iVal = -1; return true;
      case 4: *name = "I4 1"; v->vt = VT_I4; v->lVal = 1; return true;
      case 5: *name = "I4 32768"; v->vt = VT_I4; v->lVal = 32768; return true;
      case 6: *name = "I4 256"; v->vt = VT_I4; v->lVal = 256; return true;
      case 7: *name = "I4 -2147483647"; v->vt = VT_I4; v->lVal = -2147483647; return true;
      case 8: *name = "R8 1.5"; v->vt = VT_R8; v->dblVal = 1.5; return true;
      case 9: *name = "R8 2.5"; v->vt = VT_R8; v->dblVal = 2.5; return true;
      case 10: *name = "R8 -2.5"; v->vt = VT_R8; v->dblVal = -2.5; return true;
      case 11: *name = "R8 32767.5"; v->vt = VT_R8; v->dblVal = 32767.5; return true;
      case 12: *name = "R8 1e10"; v->vt = VT_R8; v->dblVal = 1e10; return true;
      case 13: *name = "R8 0.1"; v->vt = VT_R8; v->dblVal = 0.1; return true;
      case 14: *name = "R8 -0.4"; v->vt = VT_R8; v->dblVal = -0.4; return true;
      case 15: *name = "R8 1e-7"; v->vt = VT_R8; v->dblVal = 1e-7; return true;
      case 16: *name = "R8 123456789012345678"; v->vt = VT_R8; v->dblVal = 123456789012345678.0; return true;
      case 17: *name = "R4 0.1"; v->vt = VT_R4; v->fltVal = 0.1f; return true;
      case 18: *name = "R4 255.5"; v->vt = VT_R4; v->fltVal = 255.5f; return true;
      case 19: *name = "BOOL true"; v->vt = VT_BOOL; v->boolVal = VARIANT_TRUE; return true;
      case 20: *name = "BOOL false"; v->vt = VT_BOOL; v->boolVal = VARIANT_FALSE; return true;
      case 21: *name = "ERROR"; v->vt = VT_ERROR; v->scode = DISP_E_PARAMNOTFOUND; return true;
      case 22: *name = "UI1 255"; v->vt = VT_UI1; v->bVal = 255; return true;
      case 23: *name = "BSTR 12"; *text = u"12"; return true;
      case 24: *name = "BSTR ' 12 '"; *text = u" 12 "; return true;
      case 25: *name = "BSTR 1.5"; *text = u"1.5"; return true;
      case 26: *name = "BSTR abc"; *text = u"abc"; return true;
      case 27: *name = "BSTR ''"; *text = u""; return true;
      case 28: *name = "BSTR -1"; *text = u"-1"; return true;
      case 29: *name = "BSTR 2.5"; *text = u"2.5"; return true;
      case 30: *name = "BSTR 1e3"; *text = u"1e3"; return true;
      case 31: *name = "BSTR 70000"; *text = u"70000"; return true;
      case 32: *name = "BSTR True"; *text = u"True"; return true;
      case 33: *name = "BSTR +.5"; *text = u"+.5"; return true;
      case 34: *name = "BSTR 1 2"; *text = u"1 2"; return true;
      case 35: *name = "BSTR NULL"; v->vt = VT_BSTR; v->bstrVal = nullptr; return true;
      case 36: *name = "DISPATCH I4 42"; v->vt = VT_DISPATCH; v->pdispVal = &object_i4; return true;
      case 37: *name = "DISPATCH BSTR 2.5"; v->vt = VT_DISPATCH; v->pdispVal = &object_text; return true;
      case 38: *name = "DISPATCH NULL"; v->vt = VT_DISPATCH; v->pdispVal = nullptr; return true;
      case 39: *name = "BYREF I4 7"; v->vt = VT_I4 | VT_BYREF; v->plVal = &byref_i4; return true;
      case 40: *name = "BYREF BOOL true"; v->vt = VT_BOOL | VT_BYREF; v->pboolVal = &byref_bool; return true;
      case 41: *name = "BYREF BSTR ' 3 '"; v->vt = VT_BSTR | VT_BYREF; v->pbstrVal = &byref_bstr; return true;
      case 42: *name = "BYREF VARIANT R8 2.5"; v->vt = VT_VARIANT | VT_BYREF; v->pvarVal = &byref_var; return true;
      default: return false;
    }
  }
};

// The targets, in the order of the table's columns.
constexpr VARTYPE kConversionTargets[] = {VT_EMPTY, VT_NULL, VT_I2,   VT_I4,    VT_R4,      VT_R8,
                                          VT_BOOL,  VT_BSTR, VT_ERROR, VT_UI1, VT_DISPATCH};

// The outcome as one short text. `object` is the source's object, if any, to tell a dispatch result
// that is the source's object from another.
inline std::string DescribeOutcome(HRESULT hr, const VARIANT &v, const IDispatch *object) {
  char buf[128];
  if (FAILED(hr)) {
    snprintf(buf, sizeof buf, "E:%08X", static_cast<unsigned>(hr));
    return buf;
  }
  switch (v.vt) {
    case VT_EMPTY: return "EMPTY";
    case VT_NULL: return "NULL";
    case VT_I2: snprintf(buf, sizeof buf, "I2:%d", v.iVal); break;
    case VT_I4: snprintf(buf, sizeof buf, "I4:%d", static_cast<int>(v.lVal)); break;
    case VT_UI1: snprintf(buf, sizeof buf, "UI1:%u", v.bVal); break;
    case VT_R4: snprintf(buf, sizeof buf, "R4:%.9g", static_cast<double>(v.fltVal)); break;
    case VT_R8: snprintf(buf, sizeof buf, "R8:%.17g", static_cast<double>(v.dblVal)); break;
    case VT_BOOL: snprintf(buf, sizeof buf, "BOOL:%d", v.boolVal); break;
    case VT_ERROR: snprintf(buf, sizeof buf, "ERROR:%08X", static_cast<unsigned>(v.scode)); break;
    case VT_DISPATCH:
      return v.pdispVal == nullptr ? "DISPATCH:null" : v.pdispVal == object ? "DISPATCH:same" : "DISPATCH:other";
    case VT_BSTR: {
      std::string s = "BSTR:";
      if (!v.bstrVal) return s + "(null)";
      for (UINT i = 0; i < SysStringLen(v.bstrVal); ++i) {
        unsigned c = v.bstrVal[i];
        s += c < 0x80 ? static_cast<char>(c) : '?';
      }
      return s;
    }
    default: snprintf(buf, sizeof buf, "VT%u", v.vt); break;
  }
  return buf;
}

}  // namespace qntest
