// VariantChangeType: conversions among the scalar types, texts and objects, in the en-US locale.
#include <math.h>
#include <stdint.h>
#include <string.h>

#include <charconv>
#include <cfloat>
#include <string>

#include "qnutil/posix/windows.h"
#include "internal/variant.h"

namespace {

// How many objects' values a conversion follows before it gives up (an object whose value is an
// object whose value is ... itself would otherwise never end).
constexpr int kMaxValueDepth = 16;

// A number on its way between types: an integer when the source was one, a double otherwise.
struct Number {
  bool integer;
  int64_t i;
  double d;
  bool from_bool;
};

bool IsBlank(OLECHAR c) { return c == ' ' || (c >= 0x09 && c <= 0x0D) || c == 0xA0; }
bool IsDigit(OLECHAR c) { return c >= '0' && c <= '9'; }

// Reads a text as en-US reads a number: blanks around it, a sign in front ('+', '-', or
// parentheses) or a '-' behind, a '$', thousands separators in the integer part, a decimal point,
// an exponent, or "&H" / "&O" followed by hexadecimal or octal digits.
HRESULT ParseNumber(const OLECHAR *s, UINT n, Number *out) {
  UINT p = 0;
  auto skip = [&] {
    while (p < n && IsBlank(s[p])) ++p;
  };
  skip();
  bool negative = false, sign = false, paren = false, currency = false;
  for (;;) {
    if (p < n && (s[p] == '+' || s[p] == '-') && !sign && !paren) {
      negative = s[p] == '-';
      sign = true;
    } else if (p < n && s[p] == '(' && !sign && !paren) {
      paren = negative = true;
    } else if (p < n && s[p] == '$' && !currency) {
      currency = true;
    } else {
      break;
    }
    ++p;
    skip();
  }
  std::string digits;
  bool radix = false;
  uint64_t radix_value = 0;
  if (p + 1 < n && s[p] == '&' && (s[p + 1] == 'H' || s[p + 1] == 'h' || s[p + 1] == 'O' || s[p + 1] == 'o')) {
    unsigned base = (s[p + 1] == 'H' || s[p + 1] == 'h') ? 16 : 8;
    p += 2;
    UINT start = p;
    for (; p < n; ++p) {
      unsigned v;
      OLECHAR c = s[p];
      if (IsDigit(c)) v = c - '0';
      else if (c >= 'a' && c <= 'f') v = c - 'a' + 10;
      else if (c >= 'A' && c <= 'F') v = c - 'A' + 10;
      else break;
      if (v >= base) break;
      if (radix_value > (UINT64_MAX >> (base == 16 ? 4 : 3))) return DISP_E_OVERFLOW;
      radix_value = radix_value * base + v;
    }
    if (p == start) return DISP_E_TYPEMISMATCH;
    radix = true;
  } else {
    bool any = false;
    for (; p < n; ++p) {
      if (IsDigit(s[p])) {
        digits += static_cast<char>(s[p]);
        any = true;
      } else if (s[p] == ',' && any) {
        continue;
      } else {
        break;
      }
    }
    if (p < n && s[p] == '.') {
      digits += '.';
      for (++p; p < n && IsDigit(s[p]); ++p) {
        digits += static_cast<char>(s[p]);
        any = true;
      }
    }
    if (!any) return DISP_E_TYPEMISMATCH;
    if (p < n && (s[p] == 'e' || s[p] == 'E')) {
      digits += 'e';
      ++p;
      if (p < n && (s[p] == '+' || s[p] == '-')) digits += static_cast<char>(s[p++]);
      if (p >= n || !IsDigit(s[p])) return DISP_E_TYPEMISMATCH;
      while (p < n && IsDigit(s[p])) digits += static_cast<char>(s[p++]);
    }
  }
  skip();
  if (p < n && s[p] == '-' && !sign && !paren) {
    negative = true;
    ++p;
    skip();
  }
  if (paren) {
    if (p >= n || s[p] != ')') return DISP_E_TYPEMISMATCH;
    ++p;
    skip();
  }
  if (p != n) return DISP_E_TYPEMISMATCH;
  out->from_bool = false;
  if (radix) {
    out->integer = false;
    out->d = static_cast<double>(radix_value);
  } else {
    double value = 0;
    auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
      // Out of range one way or the other: tiny magnitudes read as zero, large ones overflow.
      size_t e = digits.find('e');
      bool tiny = e != std::string::npos && digits[e + 1] == '-';
      if (!tiny) return DISP_E_OVERFLOW;
      value = 0;
    } else if (result.ec != std::errc() || result.ptr != digits.data() + digits.size()) {
      return DISP_E_TYPEMISMATCH;
    }
    out->integer = false;
    out->d = value;
  }
  if (negative) out->d = -out->d;
  return S_OK;
}

bool SameText(const OLECHAR *s, UINT n, const char *word) {
  size_t len = strlen(word);
  if (n != len) return false;
  for (UINT i = 0; i < n; ++i) {
    OLECHAR c = s[i];
    if (c >= 'a' && c <= 'z') c = static_cast<OLECHAR>(c - 'a' + 'A');
    if (c != static_cast<unsigned char>(word[i])) return false;
  }
  return true;
}

// The source's value as a number; DISP_E_TYPEMISMATCH for what is not one.
HRESULT ToNumber(const VARIANT &v, Number *out) {
  out->integer = true;
  out->d = 0;
  out->i = 0;
  out->from_bool = false;
  switch (v.vt) {
    case VT_EMPTY: return S_OK;
    case VT_I1: out->i = v.cVal; return S_OK;
    case VT_UI1: out->i = v.bVal; return S_OK;
    case VT_I2: out->i = v.iVal; return S_OK;
    case VT_UI2: out->i = v.uiVal; return S_OK;
    case VT_I4: out->i = v.lVal; return S_OK;
    case VT_INT: out->i = v.intVal; return S_OK;
    case VT_UI4: out->i = v.ulVal; return S_OK;
    case VT_UINT: out->i = v.uintVal; return S_OK;
    case VT_I8: out->i = v.llVal; return S_OK;
    case VT_UI8:
      if (v.ullVal > static_cast<uint64_t>(INT64_MAX)) {
        out->integer = false;
        out->d = static_cast<double>(v.ullVal);
      } else {
        out->i = static_cast<int64_t>(v.ullVal);
      }
      return S_OK;
    case VT_BOOL: out->i = v.boolVal; out->from_bool = true; return S_OK;
    case VT_R4: out->integer = false; out->d = v.fltVal; return S_OK;
    case VT_R8: out->integer = false; out->d = v.dblVal; return S_OK;
    case VT_DATE: out->integer = false; out->d = v.date; return S_OK;
    case VT_CY: out->integer = false; out->d = static_cast<double>(v.cyVal.int64) / 10000.0; return S_OK;
    case VT_BSTR: return ParseNumber(v.bstrVal, SysStringLen(v.bstrVal), out);
    default: return DISP_E_TYPEMISMATCH;
  }
}

// The number as an integer within [lo, hi]: doubles round half to even first.
HRESULT ToInteger(const Number &n, int64_t lo, int64_t hi, int64_t *out) {
  if (n.integer) {
    if (n.i < lo || n.i > hi) return DISP_E_OVERFLOW;
    *out = n.i;
    return S_OK;
  }
  double r = nearbyint(n.d);
  // Compared as doubles: hi converts upwards for 64-bit bounds, which the strict test excludes.
  if (!(r >= static_cast<double>(lo) && r < static_cast<double>(hi) + 1.0)) return DISP_E_OVERFLOW;
  *out = static_cast<int64_t>(r);
  return S_OK;
}

HRESULT ToUnsigned64(const Number &n, uint64_t *out) {
  if (n.integer) {
    if (n.i < 0) return DISP_E_OVERFLOW;
    *out = static_cast<uint64_t>(n.i);
    return S_OK;
  }
  double r = nearbyint(n.d);
  if (!(r >= 0 && r < 18446744073709551616.0)) return DISP_E_OVERFLOW;
  *out = static_cast<uint64_t>(r);
  return S_OK;
}

double AsDouble(const Number &n) { return n.integer ? static_cast<double>(n.i) : n.d; }

// Windows' text of a real: `digits` significant digits, an exponent (E+nn) when the number is
// below 1e-4 or needs more digits than that in front of the point.
std::string RealText(double d, int digits) {
  if (d == 0) return "0";
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, d, std::chars_format::general, digits);
  std::string s(buf, r.ptr);
  for (char &c : s) {
    if (c == 'e') c = 'E';
  }
  if (s == "inf") return "INF";
  if (s == "-inf") return "-INF";
  return s;
}

HRESULT MakeText(const std::string &s, VARIANT *out) {
  BSTR b = SysAllocStringLen(nullptr, static_cast<UINT>(s.size()));
  if (!b) return E_OUTOFMEMORY;
  for (size_t i = 0; i < s.size(); ++i) b[i] = static_cast<unsigned char>(s[i]);
  out->vt = VT_BSTR;
  out->bstrVal = b;
  return S_OK;
}

HRESULT ToText(const VARIANT &v, USHORT flags, VARIANT *out) {
  switch (v.vt) {
    case VT_EMPTY: return MakeText("", out);
    case VT_BOOL:
      if (flags & VARIANT_ALPHABOOL) return MakeText(v.boolVal ? "True" : "False", out);
      return MakeText(std::to_string(v.boolVal), out);
    case VT_R4: return MakeText(RealText(v.fltVal, 7), out);
    case VT_R8: return MakeText(RealText(v.dblVal, 15), out);
    case VT_CY: return MakeText(RealText(static_cast<double>(v.cyVal.int64) / 10000.0, 15), out);
    case VT_UI8: return MakeText(std::to_string(v.ullVal), out);
    case VT_DATE: return DISP_E_TYPEMISMATCH;
    default: break;
  }
  Number n;
  HRESULT hr = ToNumber(v, &n);
  if (FAILED(hr)) return hr;
  return MakeText(std::to_string(n.i), out);
}

HRESULT ToBool(const VARIANT &v, VARIANT *out) {
  Number n;
  HRESULT hr = ToNumber(v, &n);
  if (hr == DISP_E_TYPEMISMATCH && v.vt == VT_BSTR) {
    UINT len = SysStringLen(v.bstrVal);
    const OLECHAR *s = v.bstrVal;
    if (SameText(s, len, "TRUE") || SameText(s, len, "#TRUE#")) {
      n = Number{true, 1, 0, false};
    } else if (SameText(s, len, "FALSE") || SameText(s, len, "#FALSE#")) {
      n = Number{true, 0, 0, false};
    } else {
      return hr;
    }
  } else if (FAILED(hr)) {
    return hr;
  }
  out->vt = VT_BOOL;
  out->boolVal = (n.integer ? n.i != 0 : n.d != 0) ? VARIANT_TRUE : VARIANT_FALSE;
  return S_OK;
}

// Converts a scalar or text to a numeric type.
HRESULT ToNumeric(const VARIANT &v, VARTYPE vt, VARIANT *out) {
  Number n;
  HRESULT hr = ToNumber(v, &n);
  if (FAILED(hr)) return hr;
  // True is all ones in an unsigned type, as its 16-bit value reads.
  if (n.from_bool && n.i == -1 && (vt == VT_UI1 || vt == VT_UI2 || vt == VT_UI4 || vt == VT_UINT || vt == VT_UI8)) {
    out->vt = vt;
    out->ullVal = vt == VT_UI1 ? 0xFF : vt == VT_UI2 ? 0xFFFF : vt == VT_UI8 ? UINT64_MAX : 0xFFFFFFFFu;
    if (vt == VT_UI1) out->bVal = 0xFF;
    return S_OK;
  }
  int64_t i = 0;
  uint64_t u = 0;
  switch (vt) {
    case VT_I1: hr = ToInteger(n, INT8_MIN, INT8_MAX, &i); if (SUCCEEDED(hr)) out->cVal = static_cast<CHAR>(i); break;
    case VT_UI1: hr = ToInteger(n, 0, UINT8_MAX, &i); if (SUCCEEDED(hr)) out->bVal = static_cast<BYTE>(i); break;
    case VT_I2: hr = ToInteger(n, INT16_MIN, INT16_MAX, &i); if (SUCCEEDED(hr)) out->iVal = static_cast<SHORT>(i); break;
    case VT_UI2: hr = ToInteger(n, 0, UINT16_MAX, &i); if (SUCCEEDED(hr)) out->uiVal = static_cast<USHORT>(i); break;
    case VT_I4:
    case VT_INT: hr = ToInteger(n, INT32_MIN, INT32_MAX, &i); if (SUCCEEDED(hr)) out->lVal = static_cast<LONG>(i); break;
    case VT_UI4:
    case VT_UINT: hr = ToInteger(n, 0, UINT32_MAX, &i); if (SUCCEEDED(hr)) out->ulVal = static_cast<ULONG>(i); break;
    case VT_I8: hr = ToInteger(n, INT64_MIN, INT64_MAX, &i); if (SUCCEEDED(hr)) out->llVal = i; break;
    case VT_UI8: hr = ToUnsigned64(n, &u); if (SUCCEEDED(hr)) out->ullVal = u; break;
    case VT_R4: {
      double d = AsDouble(n);
      if (fabs(d) > FLT_MAX && !isinf(d)) return DISP_E_OVERFLOW;
      out->fltVal = static_cast<float>(d);
      break;
    }
    case VT_R8: out->dblVal = AsDouble(n); break;
    case VT_DATE: out->date = AsDouble(n); break;
    case VT_CY: {
      double scaled = nearbyint(AsDouble(n) * 10000.0);
      if (!(scaled >= -9223372036854775808.0 && scaled < 9223372036854775808.0)) return DISP_E_OVERFLOW;
      out->cyVal.int64 = static_cast<int64_t>(scaled);
      break;
    }
    default: return DISP_E_TYPEMISMATCH;
  }
  if (SUCCEEDED(hr)) out->vt = vt;
  return hr;
}

bool IsObject(VARTYPE vt) { return vt == VT_DISPATCH || vt == VT_UNKNOWN; }

bool IsScalarTarget(VARTYPE vt) {
  switch (vt) {
    case VT_I1: case VT_UI1: case VT_I2: case VT_UI2: case VT_I4: case VT_UI4: case VT_INT: case VT_UINT:
    case VT_I8: case VT_UI8: case VT_R4: case VT_R8: case VT_DATE: case VT_CY: case VT_BOOL: case VT_BSTR:
      return true;
    default:
      return false;
  }
}

// Converts v (owning nothing, no VT_BYREF) into *out, which holds nothing.
HRESULT Convert(VARIANT *v, USHORT flags, VARTYPE vt, VARIANT *out, int depth) {
  if (v->vt == vt) {
    HRESULT hr = VariantCopy(out, v);
    return hr;
  }
  if (v->vt & VT_ARRAY) return DISP_E_TYPEMISMATCH;
  if (v->vt == VT_ERROR || vt == VT_ERROR) return DISP_E_TYPEMISMATCH;
  if (vt == VT_EMPTY || vt == VT_NULL) {
    if (v->vt == VT_NULL) return DISP_E_TYPEMISMATCH;
    out->vt = vt;
    return S_OK;
  }
  if (v->vt == VT_NULL) return DISP_E_TYPEMISMATCH;
  if (IsObject(vt)) {
    if (!IsObject(v->vt)) return DISP_E_TYPEMISMATCH;
    if (!v->punkVal) {
      out->vt = vt;
      out->punkVal = nullptr;
      return S_OK;
    }
    if (vt == VT_UNKNOWN) {
      v->punkVal->AddRef();
      out->vt = VT_UNKNOWN;
      out->punkVal = v->punkVal;
      return S_OK;
    }
    void *disp = nullptr;
    if (FAILED(v->punkVal->QueryInterface(IID_IDispatch, &disp)) || !disp) return DISP_E_TYPEMISMATCH;
    out->vt = VT_DISPATCH;
    out->pdispVal = static_cast<IDispatch *>(disp);
    return S_OK;
  }
  if (!IsScalarTarget(vt)) return DISP_E_BADVARTYPE;
  if (v->vt == VT_UNKNOWN) return DISP_E_TYPEMISMATCH;
  if (v->vt == VT_DISPATCH) {
    if (!v->pdispVal) return DISP_E_BADVARTYPE;
    if ((flags & VARIANT_NOVALUEPROP) || depth >= kMaxValueDepth) return DISP_E_TYPEMISMATCH;
    VARIANT value;
    VariantInit(&value);
    DISPPARAMS none = {nullptr, nullptr, 0, 0};
    HRESULT hr = v->pdispVal->Invoke(DISPID_VALUE, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &value,
                                     nullptr, nullptr);
    if (FAILED(hr)) {
      VariantClear(&value);
      return DISP_E_TYPEMISMATCH;
    }
    VARIANT plain;
    hr = qnposix::Dereference(&value, &plain);
    if (SUCCEEDED(hr)) hr = Convert(&plain, flags, vt, out, depth + 1);
    VariantClear(&value);
    return hr;
  }
  if (vt == VT_BSTR) return ToText(*v, flags, out);
  if (vt == VT_BOOL) return ToBool(*v, out);
  return ToNumeric(*v, vt, out);
}

}  // namespace

extern "C" HRESULT WINAPI VariantChangeTypeEx(VARIANTARG *pvargDest, VARIANTARG *pvargSrc, LCID, USHORT wFlags,
                                              VARTYPE vt) {
  if (!pvargDest || !pvargSrc) return E_INVALIDARG;
  HRESULT hr = qnposix::ValidateVarType(pvargSrc->vt);
  if (FAILED(hr)) return hr;
  hr = qnposix::ValidateVarType(vt);
  if (FAILED(hr)) return hr;
  if (vt & (VT_BYREF | VT_ARRAY)) return DISP_E_TYPEMISMATCH;
  VARIANT plain;
  hr = qnposix::Dereference(pvargSrc, &plain);
  if (FAILED(hr)) return hr;
  VARIANT result;
  VariantInit(&result);
  hr = Convert(&plain, wFlags, vt, &result, 0);
  if (FAILED(hr)) return hr;
  // The destination may be the source: its old value goes only once the result is made.
  hr = VariantClear(pvargDest);
  if (FAILED(hr)) {
    VariantClear(&result);
    return hr;
  }
  *pvargDest = result;
  return S_OK;
}

extern "C" HRESULT WINAPI VariantChangeType(VARIANTARG *pvargDest, VARIANTARG *pvargSrc, USHORT wFlags, VARTYPE vt) {
  return VariantChangeTypeEx(pvargDest, pvargSrc, LOCALE_USER_DEFAULT, wFlags, vt);
}
