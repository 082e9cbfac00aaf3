// CFixedString: a single-owner UTF-16 string, one heap block per text.
//
// Every operation that replaces the text nulls the pointer before it allocates, so a COOMExcep
// passing through leaves the string invalid. Operations that read a source keep the old block
// until the source has been copied (the source may lie inside it) and release it as they finish,
// or as the exception passes.

#include <string.h>

#include "qnutil/fixedstring.h"
#include "qnutil/frame.h"

namespace {

DWORD TextLength(const unsigned short *pwsz) {
  const unsigned short *p = pwsz;
  while (*p != 0) ++p;
  return static_cast<DWORD>(p - pwsz);
}

unsigned short *AllocUnits(DWORD cch) {
  return static_cast<unsigned short *>(_operator_new(cch * static_cast<DWORD>(sizeof(unsigned short))));
}

// Owns a block that its string has already let go of, until the end of the scope.
class DetachedBlock {
 public:
  explicit DetachedBlock(unsigned short *&pwsz) : m_pwsz(pwsz) { pwsz = NULL; }
  ~DetachedBlock() { _operator_delete(m_pwsz); }
  DetachedBlock(const DetachedBlock &) = delete;
  DetachedBlock &operator=(const DetachedBlock &) = delete;

 private:
  unsigned short *m_pwsz;
};

}  // namespace

CFixedString::CFixedString() : m_pwsz(NULL) {}

CFixedString::CFixedString(DWORD cch) : m_pwsz(NULL) { ClearSetLength(cch); }

CFixedString::CFixedString(const char *psz) : m_pwsz(NULL) { *this = psz; }

CFixedString::CFixedString(const unsigned short *pwsz) : m_pwsz(NULL) { Assign(pwsz); }

CFixedString::CFixedString(const CFixedString &other) : m_pwsz(NULL) { Assign(other.m_pwsz); }

CFixedString::~CFixedString() { _operator_delete(m_pwsz); }

int CFixedString::BValid() const { return m_pwsz != NULL ? 1 : 0; }

void CFixedString::Clear() {
  _operator_delete(m_pwsz);
  m_pwsz = NULL;
}

LONG CFixedString::Length() const { return m_pwsz != NULL ? static_cast<LONG>(TextLength(m_pwsz)) : 0; }

unsigned short &CFixedString::operator[](DWORD i) { return m_pwsz[i]; }

unsigned short &CFixedString::operator[](int i) { return m_pwsz[i]; }

CFixedString::operator unsigned short *() const { return m_pwsz; }

CFixedString::operator const unsigned short *() const { return m_pwsz; }

CFixedString &CFixedString::operator=(const CFixedString &other) {
  Assign(other.m_pwsz);
  return *this;
}

const unsigned short *CFixedString::operator=(const unsigned short *pwsz) {
  Assign(pwsz);
  return pwsz;
}

const unsigned short *CFixedString::operator=(const char *psz) {
  DetachedBlock old(m_pwsz);
  if (psz == NULL) return NULL;
  int cch = MultiByteToWideChar(CP_ACP, 0, psz, -1, NULL, 0);
  // The code page has no reading of the text at all: keep the promise of a terminated block.
  if (cch <= 0) {
    ClearSetLength(1);
    return m_pwsz;
  }
  unsigned short *pwszBlock = AllocUnits(static_cast<DWORD>(cch));
  m_pwsz = pwszBlock;
  MultiByteToWideChar(CP_ACP, 0, psz, -1, qn::AsW(pwszBlock), cch);
  return m_pwsz;
}

void CFixedString::Assign(const unsigned short *pwsz) {
  DetachedBlock old(m_pwsz);
  if (pwsz == NULL) return;
  const DWORD cch = TextLength(pwsz) + 1;
  unsigned short *pwszBlock = AllocUnits(cch);
  memcpy(pwszBlock, pwsz, cch * sizeof(unsigned short));
  m_pwsz = pwszBlock;
}

int CFixedString::operator==(const unsigned short *pwsz) const {
  return lstrcmpiW(qn::AsW(pwsz), qn::AsW(m_pwsz)) == 0 ? 1 : 0;
}

LONG CFixedString::Compare(const CFixedString &a, const CFixedString &b) {
  return lstrcmpiW(qn::AsW(a.m_pwsz), qn::AsW(b.m_pwsz));
}

LONG CFixedString::Compare(CFixedString *const &a, CFixedString *const &b) { return Compare(*a, *b); }

int CFixedString::ClearSetLength(DWORD cch) {
  Clear();
  unsigned short *pwszBlock = AllocUnits(cch != 0 ? cch : 1);
  pwszBlock[0] = 0;
  m_pwsz = pwszBlock;
  return 1;
}

int CFixedString::CopyLen(const unsigned short *pwszSource, unsigned int cch) {
  DetachedBlock old(m_pwsz);
  if (cch == 0) cch = 1;
  unsigned short *pwszBlock = AllocUnits(cch);
  pwszBlock[0] = 0;
  m_pwsz = pwszBlock;
  if (lstrcpynW(qn::AsW(pwszBlock), qn::AsW(pwszSource), static_cast<int>(cch)) == NULL) {
    pwszBlock[0] = 0;  // a copy cut short by a fault leaves no terminator of its own
    return 0;
  }
  return 1;
}

int CFixedString::CreateGUID() {
  GUID guid;
  const HRESULT hr = CoCreateGuid(&guid);
  ClearSetLength(39);
  if (FAILED(hr)) return 0;
  return StringFromGUID2(guid, qn::AsW(m_pwsz), 39) > 0 ? 1 : 0;
}
