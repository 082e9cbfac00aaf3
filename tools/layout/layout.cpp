// qnutil_layout: prints the sizes, alignments, field offsets and constant values of the platform
// surface that qnutil stands on, one "name value" per line. Built against the subset on POSIX and
// against the system headers on Windows, its output must be the same for the same pointer width:
// CI runs both and diffs them, so a subset declaration that drifts from <windows.h> fails there.
//
// One line per declaration, grouped by the subset header that declares it (newer areas in files
// layout_<area>.cpp of their own, see layout.h). A declaration added to
// a subset header gets its line here; names that are not values (calling conventions, type macros)
// are listed in a comment of their group, so that the coverage check (.ci/layout-coverage.sh) knows
// they were looked at.
//
// Values print in decimal with the sign of their type, so that 0xFFFFFFFF and -1 differ.
#include <cstddef>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <type_traits>

#include "qnutil/atlmodule.h"
#include "layout.h"

#include <algorithm>
#include <cstring>
#include <vector>

static void WinDef() {
  // Not values: WINAPI CALLBACK APIENTRY STDMETHODCALLTYPE WINAPIV CONST VOID DECLARE_HANDLE
  // QN_WIN32_API.
  INTEGER(BYTE);
  INTEGER(UCHAR);
  INTEGER(BOOLEAN);
  INTEGER(CHAR);
  INTEGER(WORD);
  INTEGER(USHORT);
  INTEGER(SHORT);
  INTEGER(WCHAR);
  INTEGER(OLECHAR);
  INTEGER(INT);
  INTEGER(BOOL);
  INTEGER(LONG);
  INTEGER(UINT);
  INTEGER(DWORD);
  INTEGER(ULONG);
  INTEGER(LONGLONG);
  INTEGER(LONG64);
  INTEGER(INT64);
  INTEGER(ULONGLONG);
  INTEGER(DWORDLONG);
  INTEGER(ULONG64);
  INTEGER(UINT64);
  INTEGER(DWORD64);
  INTEGER(INT_PTR);
  INTEGER(LONG_PTR);
  INTEGER(UINT_PTR);
  INTEGER(ULONG_PTR);
  INTEGER(DWORD_PTR);
  INTEGER(SIZE_T);
  INTEGER(SSIZE_T);
  INTEGER(HRESULT);
  INTEGER(LCID);
  INTEGER(LANGID);
  INTEGER(ATOM);
  TYPE(FLOAT);
  TYPE(PVOID);
  TYPE(HANDLE);
  TYPE(HINSTANCE);
  TYPE(HMODULE);
  TYPE(HKEY);
  TYPE(HWND);
  TYPE(HDC);
  TYPE(HLOCAL);
  TYPE(HGLOBAL);
  TYPE(FARPROC);
  TYPE(LPWSTR);

  TYPE(LARGE_INTEGER);
  OFFSET(LARGE_INTEGER, u.LowPart);
  OFFSET(LARGE_INTEGER, u.HighPart);
  OFFSET(LARGE_INTEGER, QuadPart);
  TYPE(ULARGE_INTEGER);
  OFFSET(ULARGE_INTEGER, u.LowPart);
  OFFSET(ULARGE_INTEGER, u.HighPart);
  OFFSET(ULARGE_INTEGER, QuadPart);

  VALUE(TRUE);
  VALUE(FALSE);
  VALUE(MAX_PATH);
  VALUE(reinterpret_cast<ULONG_PTR>(INVALID_HANDLE_VALUE));
  VALUE(INFINITE);
  VALUE(MAKEWORD(0x12, 0x34));
  VALUE(MAKEWORD(0x1FF, 0x2FF));
  VALUE(MAKELONG(0x1234, 0x5678));
  VALUE(MAKELONG(0xFFFF, 0xFFFF));
  VALUE(LOWORD(0x12345678));
  VALUE(HIWORD(0x12345678));
  VALUE(HIWORD(-1));
  VALUE(LOBYTE(0x1234));
  VALUE(HIBYTE(0x1234));
}

static void WinError() {
  // Not values: _HRESULT_TYPEDEF_ (a cast).
  VALUE(ERROR_SUCCESS);
  VALUE(NO_ERROR);
  VALUE(ERROR_INVALID_FUNCTION);
  VALUE(ERROR_FILE_NOT_FOUND);
  VALUE(ERROR_PATH_NOT_FOUND);
  VALUE(ERROR_TOO_MANY_OPEN_FILES);
  VALUE(ERROR_ACCESS_DENIED);
  VALUE(ERROR_INVALID_HANDLE);
  VALUE(ERROR_NOT_ENOUGH_MEMORY);
  VALUE(ERROR_INVALID_DATA);
  VALUE(ERROR_OUTOFMEMORY);
  VALUE(ERROR_NOT_READY);
  VALUE(ERROR_SHARING_VIOLATION);
  VALUE(ERROR_LOCK_VIOLATION);
  VALUE(ERROR_HANDLE_EOF);
  VALUE(ERROR_NOT_SUPPORTED);
  VALUE(ERROR_FILE_EXISTS);
  VALUE(ERROR_INVALID_PARAMETER);
  VALUE(ERROR_BROKEN_PIPE);
  VALUE(ERROR_DISK_FULL);
  VALUE(ERROR_CALL_NOT_IMPLEMENTED);
  VALUE(ERROR_INSUFFICIENT_BUFFER);
  VALUE(ERROR_INVALID_NAME);
  VALUE(ERROR_MOD_NOT_FOUND);
  VALUE(ERROR_PROC_NOT_FOUND);
  VALUE(ERROR_NEGATIVE_SEEK);
  VALUE(ERROR_DIR_NOT_EMPTY);
  VALUE(ERROR_BAD_PATHNAME);
  VALUE(ERROR_ALREADY_EXISTS);
  VALUE(ERROR_BAD_EXE_FORMAT);
  VALUE(ERROR_FILENAME_EXCED_RANGE);
  VALUE(ERROR_MORE_DATA);
  VALUE(ERROR_NO_MORE_ITEMS);
  VALUE(ERROR_INVALID_ADDRESS);
  VALUE(ERROR_NOACCESS);
  VALUE(ERROR_INVALID_FLAGS);
  VALUE(ERROR_FILE_INVALID);
  VALUE(ERROR_NO_UNICODE_TRANSLATION);
  VALUE(ERROR_TIMEOUT);
  VALUE(ERROR_RESOURCE_NAME_NOT_FOUND);
  VALUE(ERROR_ARITHMETIC_OVERFLOW);
  VALUE(ERROR_BUSY);
  VALUE(ERROR_CANT_RESOLVE_FILENAME);
  VALUE(ERROR_FILE_TOO_LARGE);
  VALUE(ERROR_GEN_FAILURE);
  VALUE(ERROR_NOT_SAME_DEVICE);
  VALUE(ERROR_OPERATION_ABORTED);
  VALUE(ERROR_SEEK_ON_DEVICE);
  VALUE(ERROR_TOO_MANY_LINKS);
  VALUE(ERROR_WRITE_PROTECT);

  VALUE(FACILITY_NULL);
  VALUE(FACILITY_RPC);
  VALUE(FACILITY_DISPATCH);
  VALUE(FACILITY_STORAGE);
  VALUE(FACILITY_ITF);
  VALUE(FACILITY_WIN32);
  VALUE(FACILITY_WINDOWS);
  VALUE(SEVERITY_SUCCESS);
  VALUE(SEVERITY_ERROR);

  VALUE(S_OK);
  VALUE(S_FALSE);
  VALUE(NOERROR);
  VALUE(E_UNEXPECTED);
  VALUE(E_NOTIMPL);
  VALUE(E_NOINTERFACE);
  VALUE(E_POINTER);
  VALUE(E_ABORT);
  VALUE(E_FAIL);
  VALUE(E_ACCESSDENIED);
  VALUE(E_HANDLE);
  VALUE(E_OUTOFMEMORY);
  VALUE(E_INVALIDARG);

  VALUE(HRESULT_FROM_WIN32(ERROR_SUCCESS));
  VALUE(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  VALUE(HRESULT_FROM_WIN32(ERROR_NOT_ENOUGH_MEMORY));
  VALUE(HRESULT_FROM_WIN32(ERROR_INVALID_PARAMETER));
  VALUE(HRESULT_FROM_WIN32(ERROR_NO_MORE_ITEMS));
  VALUE(HRESULT_FROM_WIN32(ERROR_NO_UNICODE_TRANSLATION));
  VALUE(HRESULT_FROM_WIN32(0x12345));
  VALUE(HRESULT_FROM_WIN32(E_FAIL));
  VALUE(SUCCEEDED(S_FALSE));
  VALUE(SUCCEEDED(E_FAIL));
  VALUE(FAILED(E_OUTOFMEMORY));
  VALUE(FAILED(S_OK));
  VALUE(IS_ERROR(E_INVALIDARG));
  VALUE(IS_ERROR(S_FALSE));
  VALUE(HRESULT_CODE(E_INVALIDARG));
  VALUE(HRESULT_FACILITY(E_INVALIDARG));
  VALUE(HRESULT_SEVERITY(E_INVALIDARG));
  VALUE(MAKE_HRESULT(SEVERITY_ERROR,FACILITY_ITF,0x200));
}

static void GuidDef() {
  // Not values: REFGUID REFIID REFCLSID REFFMTID (reference types), IsEqualIID IsEqualCLSID
  // (comparisons); IID_NULL and CLSID_NULL are GUID_NULL, printed with the library's exports.
  TYPE(GUID);
  OFFSET(GUID, Data1);
  OFFSET(GUID, Data2);
  OFFSET(GUID, Data3);
  OFFSET(GUID, Data4);
  TYPE(IID);
  TYPE(CLSID);
}

static void Excpt() {
  VALUE(EXCEPTION_EXECUTE_HANDLER);
  VALUE(EXCEPTION_CONTINUE_SEARCH);
  VALUE(EXCEPTION_CONTINUE_EXECUTION);
  VALUE(EXCEPTION_MAXIMUM_PARAMETERS);
  TYPE(EXCEPTION_RECORD);
  OFFSET(EXCEPTION_RECORD, ExceptionCode);
  OFFSET(EXCEPTION_RECORD, ExceptionFlags);
  OFFSET(EXCEPTION_RECORD, ExceptionRecord);
  OFFSET(EXCEPTION_RECORD, ExceptionAddress);
  OFFSET(EXCEPTION_RECORD, NumberParameters);
  OFFSET(EXCEPTION_RECORD, ExceptionInformation);
  TYPE(EXCEPTION_POINTERS);
  OFFSET(EXCEPTION_POINTERS, ExceptionRecord);
  OFFSET(EXCEPTION_POINTERS, ContextRecord);
}

static void Memory() {
  VALUE(HEAP_NO_SERIALIZE);
  VALUE(HEAP_GENERATE_EXCEPTIONS);
  VALUE(HEAP_ZERO_MEMORY);
  VALUE(MEM_COMMIT);
  VALUE(MEM_RESERVE);
  VALUE(MEM_DECOMMIT);
  VALUE(MEM_RELEASE);
  VALUE(MEM_RESET);
  VALUE(MEM_TOP_DOWN);
  VALUE(PAGE_NOACCESS);
  VALUE(PAGE_READONLY);
  VALUE(PAGE_READWRITE);
  VALUE(PAGE_WRITECOPY);
  VALUE(PAGE_EXECUTE);
  VALUE(PAGE_EXECUTE_READ);
  VALUE(PAGE_EXECUTE_READWRITE);
  VALUE(PAGE_EXECUTE_WRITECOPY);
  VALUE(PAGE_GUARD);
  VALUE(PAGE_NOCACHE);
  VALUE(LMEM_FIXED);
  VALUE(LMEM_ZEROINIT);
  VALUE(LPTR);
}

static void Sync() {
  TYPE(RTL_CRITICAL_SECTION);
  TYPE(CRITICAL_SECTION);
  OFFSET(CRITICAL_SECTION, DebugInfo);
  OFFSET(CRITICAL_SECTION, LockCount);
  OFFSET(CRITICAL_SECTION, RecursionCount);
  OFFSET(CRITICAL_SECTION, OwningThread);
  OFFSET(CRITICAL_SECTION, LockSemaphore);
  OFFSET(CRITICAL_SECTION, SpinCount);
  TYPE(SECURITY_ATTRIBUTES);
  OFFSET(SECURITY_ATTRIBUTES, nLength);
  OFFSET(SECURITY_ATTRIBUTES, lpSecurityDescriptor);
  OFFSET(SECURITY_ATTRIBUTES, bInheritHandle);

  VALUE(STATUS_WAIT_0);
  VALUE(STATUS_ABANDONED_WAIT_0);
  VALUE(STATUS_TIMEOUT);
  VALUE(WAIT_OBJECT_0);
  VALUE(WAIT_ABANDONED);
  VALUE(WAIT_ABANDONED_0);
  VALUE(WAIT_TIMEOUT);
  VALUE(WAIT_FAILED);
  VALUE(MAXIMUM_WAIT_OBJECTS);
}

static void Module() {
  VALUE(DLL_PROCESS_DETACH);
  VALUE(DLL_PROCESS_ATTACH);
  VALUE(DLL_THREAD_ATTACH);
  VALUE(DLL_THREAD_DETACH);
}

static void Text() {
  VALUE(CP_ACP);
  VALUE(CP_OEMCP);
  VALUE(CP_MACCP);
  VALUE(CP_THREAD_ACP);
  VALUE(CP_UTF7);
  VALUE(CP_UTF8);
  VALUE(MB_PRECOMPOSED);
  VALUE(MB_COMPOSITE);
  VALUE(MB_USEGLYPHCHARS);
  VALUE(MB_ERR_INVALID_CHARS);
  VALUE(WC_COMPOSITECHECK);
  VALUE(WC_DISCARDNS);
  VALUE(WC_SEPCHARS);
  VALUE(WC_DEFAULTCHAR);
  VALUE(WC_ERR_INVALID_CHARS);
  VALUE(WC_NO_BEST_FIT_CHARS);
}

static void Chars() {
  VALUE(CT_CTYPE1);
  VALUE(CT_CTYPE2);
  VALUE(CT_CTYPE3);
  VALUE(C1_UPPER);
  VALUE(C1_LOWER);
  VALUE(C1_DIGIT);
  VALUE(C1_SPACE);
  VALUE(C1_PUNCT);
  VALUE(C1_CNTRL);
  VALUE(C1_BLANK);
  VALUE(C1_XDIGIT);
  VALUE(C1_ALPHA);
  VALUE(C1_DEFINED);
}

static void Gdi() {
  // Not in <windows.h>: QN_GDI_CHAR_WIDTH QN_GDI_CHAR_HEIGHT, the subset's own text cell.
  TYPE(SIZE);
  OFFSET(SIZE, cx);
  OFFSET(SIZE, cy);
}

static void AtlModule() {
  TYPE(_ATL_MODULE);
  OFFSET(_ATL_MODULE, cbSize);
  OFFSET(_ATL_MODULE, m_hInst);
  OFFSET(_ATL_MODULE, m_hInstResource);
  OFFSET(_ATL_MODULE, m_hInstTypeLib);
  OFFSET(_ATL_MODULE, m_pObjMap);
  OFFSET(_ATL_MODULE, m_nLockCnt);
  OFFSET(_ATL_MODULE, m_hHeap);
  OFFSET(_ATL_MODULE, m_csTypeInfoHolder);
  OFFSET(_ATL_MODULE, m_csStaticDataInit);
  OFFSET(_ATL_MODULE, m_csWindowCreate);
  OFFSET(_ATL_MODULE, m_csObjMap);
  OFFSET(_ATL_MODULE, dwAtlBuildVer);
  OFFSET(_ATL_MODULE, m_pCreateWndList);
  OFFSET(_ATL_MODULE, m_bDestroyHeap);
  OFFSET(_ATL_MODULE, pguidVer);
  OFFSET(_ATL_MODULE, m_dwHeaps);
  OFFSET(_ATL_MODULE, m_phHeaps);
  OFFSET(_ATL_MODULE, m_nHeap);
  OFFSET(_ATL_MODULE, m_pTermFuncs);
}

#if defined(QNUTIL_LAYOUT_LIBRARY)
namespace {

void Line(const char *name, const std::string &value) { std::cout << name << ' ' << value << '\n'; }

std::string GuidText(const GUID &g) {
  std::ostringstream s;
  s << std::hex << std::uppercase << std::setfill('0') << '{' << std::setw(8)
    << static_cast<unsigned>(g.Data1) << '-' << std::setw(4) << static_cast<unsigned>(g.Data2) << '-'
    << std::setw(4) << static_cast<unsigned>(g.Data3) << '-';
  for (int i = 0; i < 8; ++i) {
    if (i == 2) s << '-';
    s << std::setw(2) << static_cast<unsigned>(g.Data4[i]);
  }
  s << '}';
  return s.str();
}

}  // namespace

// The data the library and the platform export. GUID_ATLVer is also compared with its published
// value, so that a typo in the library's definition fails here on every target.
static bool Exports() {
  static const GUID kAtlVer = {0xB62F5910, 0x6528, 0x11D1, {0x96, 0x11, 0x00, 0x00, 0xF8, 0x1E, 0x0D, 0x0D}};
  Line("GUID_NULL", GuidText(GUID_NULL));
  Line("GUID_ATLVer", GuidText(GUID_ATLVer));
  if (_pModule == nullptr) {
    Line("_pModule", std::string("null"));
  } else {
    Line("_pModule.cbSize", _pModule->cbSize);
    Line("_pModule.dwAtlBuildVer", _pModule->dwAtlBuildVer);
    Line("_pModule.pguidVer", _pModule->pguidVer == &GUID_ATLVer);
  }
  if (!IsEqualGUID(GUID_ATLVer, kAtlVer)) {
    std::cerr << "qnutil_layout: GUID_ATLVer is " << GuidText(GUID_ATLVer) << ", published as "
              << GuidText(kAtlVer) << '\n';
    return false;
  }
  return true;
}
#endif

namespace qnlayout {
namespace {
struct Group {
  const char *name;
  GroupFn fn;
};
std::vector<Group> &Groups() {
  static std::vector<Group> groups;
  return groups;
}
}  // namespace

bool RegisterGroup(const char *name, GroupFn fn) {
  Groups().push_back({name, fn});
  return true;
}
}  // namespace qnlayout

int main() {
  WinDef();
  WinError();
  GuidDef();
  Excpt();
  Memory();
  Sync();
  Module();
  Text();
  Chars();
  Gdi();
  AtlModule();
  auto groups = qnlayout::Groups();
  std::sort(groups.begin(), groups.end(),
            [](const qnlayout::Group &a, const qnlayout::Group &b) { return std::strcmp(a.name, b.name) < 0; });
  for (const auto &g : groups) g.fn();
#if defined(QNUTIL_LAYOUT_LIBRARY)
  if (!Exports()) return 1;
#endif
  return std::cout.flush() ? 0 : 1;
}
