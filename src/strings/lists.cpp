// CFstrList and CGuidList: the shared node chain, the two text parsers and the automation array.
//
// Appending sets the item in a node that is not linked yet; a node that cannot get its item is
// freed on the way out, so COOMExcep leaves the chain as it was before the append.

#include <stddef.h>

#include <new>

#include "qnutil/frame.h"
#include "qnutil/lists.h"
#include "text/stepping.h"

namespace {

using qn::text::IsBlankUnit;

const unsigned short *SkipBlanks(const unsigned short *p) {
  while (IsBlankUnit(*p)) ++p;
  return p;
}

// A node allocated from the library heap, freed again unless the list adopts it.
class PendingNode {
 public:
  PendingNode() : m_pNode(new (_operator_new(sizeof(CFstrNode))) CFstrNode()) {}
  ~PendingNode() {
    if (m_pNode == NULL) return;
    m_pNode->~CFstrNode();
    _operator_delete(m_pNode);
  }
  PendingNode(const PendingNode &) = delete;
  PendingNode &operator=(const PendingNode &) = delete;

  CFstrNode *operator->() const { return m_pNode; }
  CFstrNode *Release() {
    CFstrNode *pNode = m_pNode;
    m_pNode = NULL;
    return pNode;
  }

 private:
  CFstrNode *m_pNode;
};

const DWORD kGuidTextLength = 38;

}  // namespace

CFstrListBase::CFstrListBase() : m_cItems(0), m_pHead(NULL), m_pTail(NULL) {
  // Callers walk the nodes themselves: the layouts are fixed, 12 and 16 bytes on the 32-bit target.
  static_assert(offsetof(CFstrNode, m_fstr) == 0, "node: item first");
  static_assert(offsetof(CFstrNode, m_pPrev) == sizeof(void *), "node: previous second");
  static_assert(offsetof(CFstrNode, m_pNext) == 2 * sizeof(void *), "node: next third");
  static_assert(sizeof(CFstrNode) == 3 * sizeof(void *), "node: three pointers");
  static_assert(sizeof(CFixedString) == sizeof(void *), "an item is one pointer");
#if defined(__GNUC__)
#  pragma GCC diagnostic push
#  pragma GCC diagnostic ignored "-Winvalid-offsetof"
#endif
  static_assert(offsetof(CFstrListBase, m_cItems) == sizeof(void *), "list: count after the vtable");
  static_assert(offsetof(CFstrListBase, m_pHead) == 2 * sizeof(void *), "list: head");
  static_assert(offsetof(CFstrListBase, m_pTail) == 3 * sizeof(void *), "list: tail");
#if defined(__GNUC__)
#  pragma GCC diagnostic pop
#endif
  static_assert(sizeof(CFstrListBase) == 4 * sizeof(void *), "list: vtable, count, head, tail");
}

CFstrListBase::~CFstrListBase() { RemoveAll(); }

CFstrListBase &CFstrListBase::operator=(CFstrListBase &source) {
  if (&source == this) return *this;
  RemoveAll();
  for (const CFstrNode *p = source.m_pHead; p != NULL; p = p->m_pNext) {
    const unsigned short *pwsz = p->m_fstr;
    AppendCopy(pwsz, pwsz != NULL ? static_cast<DWORD>(p->m_fstr.Length()) : 0);
  }
  return *this;
}

void CFstrListBase::AppendCopy(const unsigned short *pwch, DWORD cch) {
  PendingNode node;
  if (pwch != NULL) node->m_fstr.CopyLen(pwch, cch + 1);
  AppendNode(node.Release());
}

void CFstrListBase::AppendNode(CFstrNode *pNode) {
  pNode->m_pPrev = m_pTail;
  pNode->m_pNext = NULL;
  if (m_pTail == NULL) {
    m_pHead = pNode;
  } else {
    m_pTail->m_pNext = pNode;
  }
  m_pTail = pNode;
  ++m_cItems;
}

void CFstrListBase::RemoveAll() {
  while (m_pHead != NULL) {
    CFstrNode *pNode = m_pHead;
    m_pHead = pNode->m_pNext;
    if (m_pHead != NULL) {
      m_pHead->m_pPrev = NULL;
    } else {
      m_pTail = NULL;
    }
    --m_cItems;
    pNode->~CFstrNode();
    _operator_delete(pNode);
  }
}

CFstrList::CFstrList() {}

CFstrList::CFstrList(CFstrList &source) : CFstrListBase() { CFstrListBase::operator=(source); }

CFstrList::~CFstrList() {}

CFstrList &CFstrList::operator=(CFstrList &source) {
  CFstrListBase::operator=(source);
  return *this;
}

HRESULT CFstrList::FromString(const unsigned short *pwsz, unsigned short chSeparator) {
  const unsigned short *p = pwsz;
  for (;;) {
    const unsigned short *start = SkipBlanks(p);
    const unsigned short *end = start;
    if (chSeparator != 0) {
      while (*end != 0 && *end != chSeparator) ++end;
    } else {
      while (*end != 0) ++end;
    }
    if (*end == 0) {
      // The last piece: a blank rest was already skipped, so "empty" here means nothing is left.
      if (end != start) AppendCopy(start, static_cast<DWORD>(end - start));
      return S_OK;
    }
    AppendCopy(start, static_cast<DWORD>(end - start));
    p = end + 1;
  }
}

HRESULT CFstrList::BuildVariantSafeArray(SAFEARRAY **ppsa) {
  *ppsa = NULL;
  SAFEARRAY *psa = SafeArrayCreateVector(VT_VARIANT, 0, m_cItems);
  if (psa == NULL) return E_OUTOFMEMORY;
  LONG index = 0;
  for (const CFstrNode *p = m_pHead; p != NULL; p = p->m_pNext, ++index) {
    void *pvElement = NULL;
    HRESULT hr = SafeArrayPtrOfIndex(psa, &index, &pvElement);
    BSTR bstr = NULL;
    if (SUCCEEDED(hr)) {
      const unsigned short *pwsz = p->m_fstr;
      bstr = SysAllocString(qn::AsW(pwsz));
      if (bstr == NULL && pwsz != NULL) hr = E_OUTOFMEMORY;
    }
    if (FAILED(hr)) {
      SafeArrayDestroy(psa);  // frees the strings stored so far
      return hr;
    }
    VARIANT *pvar = static_cast<VARIANT *>(pvElement);
    V_VT(pvar) = VT_BSTR;
    V_BSTR(pvar) = bstr;
  }
  *ppsa = psa;
  return S_OK;
}

CGuidList::CGuidList() {}

CGuidList::CGuidList(CGuidList &source) : CFstrListBase() { CFstrListBase::operator=(source); }

CGuidList::~CGuidList() {}

CGuidList &CGuidList::operator=(CGuidList &source) {
  CFstrListBase::operator=(source);
  return *this;
}

HRESULT CGuidList::FromString(const unsigned short *pwsz) {
  const unsigned short *p = SkipBlanks(pwsz);
  while (*p != 0) {
    PendingNode node;
    node->m_fstr.CopyLen(p, kGuidTextLength + 1);
    if (node->m_fstr.Length() != static_cast<LONG>(kGuidTextLength)) return E_INVALIDARG;
    AppendNode(node.Release());
    p += kGuidTextLength;
    while (*p == ',') ++p;
    p = SkipBlanks(p);
  }
  return S_OK;
}
