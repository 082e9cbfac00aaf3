// Memory device contexts and fixed-cell text measurement.
#include <stdint.h>

#include <mutex>
#include <unordered_set>

#include "qnutil/posix/windows.h"

namespace qn::posix {
namespace {

// A device context holds nothing yet; its address is its identity.
struct DeviceContext {
  int unused = 0;
};

// The live device contexts, so that a stale or made-up HDC is refused without being touched.
class DeviceContexts {
 public:
  HDC Create() {
    auto *dc = new (std::nothrow) DeviceContext;
    if (dc == nullptr) return nullptr;
    HDC h = reinterpret_cast<HDC>(dc);
    std::lock_guard<std::mutex> lock(mutex_);
    live_.insert(h);
    return h;
  }
  bool Delete(HDC h) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (live_.erase(h) == 0) return false;
    }
    delete reinterpret_cast<DeviceContext *>(h);
    return true;
  }
  bool IsLive(HDC h) {
    std::lock_guard<std::mutex> lock(mutex_);
    return live_.count(h) != 0;
  }

 private:
  std::mutex mutex_;
  std::unordered_set<HDC> live_;
};

DeviceContexts &Contexts() {
  static DeviceContexts *contexts = new DeviceContexts;  // never destroyed: usable at exit too
  return *contexts;
}

}  // namespace
}  // namespace qn::posix

extern "C" {

HDC WINAPI CreateCompatibleDC(HDC hdc) {
  if (hdc != nullptr && !qn::posix::Contexts().IsLive(hdc)) return nullptr;
  return qn::posix::Contexts().Create();
}

BOOL WINAPI DeleteDC(HDC hdc) {
  if (hdc == nullptr || !qn::posix::Contexts().Delete(hdc)) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  return TRUE;
}

BOOL WINAPI GetTextExtentPoint32W(HDC hdc, LPCWSTR lpString, int c, LPSIZE psizl) {
  (void)lpString;  // every code unit has the same advance
  if (hdc == nullptr || c < 0 || !qn::posix::Contexts().IsLive(hdc)) return FALSE;
  // Saturates rather than overflows for counts no real text reaches.
  const int64_t width = static_cast<int64_t>(c) * QN_GDI_CHAR_WIDTH;
  psizl->cx = width > INT32_MAX ? INT32_MAX : static_cast<LONG>(width);
  psizl->cy = c == 0 ? 0 : QN_GDI_CHAR_HEIGHT;
  return TRUE;
}

}  // extern "C"
