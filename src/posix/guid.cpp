// GUIDs: the null GUID, random GUIDs and their registry text form.
#include <errno.h>
#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include "internal/errors.h"

extern "C" const GUID GUID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};

namespace qn::posix {
namespace {

// 16 bytes from the kernel's random source; errno when there is none.
bool RandomBytes(unsigned char *out, size_t n) noexcept {
  size_t got = 0;
  while (got < n) {
    const ssize_t r = getrandom(out + got, n - got, 0);
    if (r > 0) {
      got += static_cast<size_t>(r);
    } else if (r < 0 && errno == EINTR) {
      continue;
    } else if (r < 0 && errno == ENOSYS) {
      break;  // A kernel before 3.17: the device gives the same bytes.
    } else {
      return false;
    }
  }
  if (got == n) return true;
  const int fd = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  while (got < n) {
    const ssize_t r = read(fd, out + got, n - got);
    if (r > 0) {
      got += static_cast<size_t>(r);
    } else if (!(r < 0 && errno == EINTR)) {
      const int saved = r < 0 ? errno : EIO;
      close(fd);
      errno = saved;
      return false;
    }
  }
  close(fd);
  return true;
}

void PutHex(unsigned value, int digits, LPOLESTR &out) noexcept {
  static const char kHex[] = "0123456789ABCDEF";
  for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) *out++ = static_cast<OLECHAR>(kHex[(value >> shift) & 0xF]);
}

}  // namespace
}  // namespace qn::posix

extern "C" {

HRESULT WINAPI CoCreateGuid(GUID *pguid) {
  if (pguid == nullptr) return E_INVALIDARG;
  unsigned char bytes[16];
  if (!qn::posix::RandomBytes(bytes, sizeof bytes)) return HRESULT_FROM_WIN32(qn::posix::Win32ErrorFromErrno(errno));
  memcpy(pguid, bytes, sizeof bytes);
  // RFC 4122: version 4 (random) in the high nibble of Data3, variant 10xx in Data4[0].
  pguid->Data3 = static_cast<WORD>((pguid->Data3 & 0x0FFF) | 0x4000);
  pguid->Data4[0] = static_cast<BYTE>((pguid->Data4[0] & 0x3F) | 0x80);
  return S_OK;
}

int WINAPI StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax) {
  if (lpsz == nullptr || cchMax < 39) return 0;
  LPOLESTR p = lpsz;
  *p++ = '{';
  qn::posix::PutHex(rguid.Data1, 8, p);
  *p++ = '-';
  qn::posix::PutHex(rguid.Data2, 4, p);
  *p++ = '-';
  qn::posix::PutHex(rguid.Data3, 4, p);
  *p++ = '-';
  for (int i = 0; i < 8; ++i) {
    if (i == 2) *p++ = '-';
    qn::posix::PutHex(rguid.Data4[i], 2, p);
  }
  *p++ = '}';
  *p = 0;
  return 39;
}

}  // extern "C"
