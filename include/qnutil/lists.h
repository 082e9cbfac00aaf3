// CFstrList and CGuidList: ordered lists of CFixedString items in doubly linked heap nodes.
//
// The library exports no walk over a list: callers read the count, the head and the tail through
// the inline accessors below and follow each node's m_pNext / m_pPrev themselves, so the node
// layout and the list's fields (after the virtual table pointer: count, head, tail) are part of the
// interface. On the 32-bit target a node is 12 bytes (item, previous, next) and a list 16 bytes.
//
// Every node and every item text comes from _operator_new. When it throws COOMExcep the exception
// passes to the caller and the list stays consistent: a node is linked only once its item is set,
// so the items appended before the failure stay, and nothing is leaked.
//
// Items keep the order of their appending; nothing sorts, removes duplicates or removes single
// items. A list is used by one thread at a time.
//
// Decisions of this implementation:
// - Assigning a list to itself changes nothing (a plain clear-then-copy would empty it).
// - A NULL text given to FromString is a caller error and is not tested for.
#pragma once

#include "qnutil/export.h"
#include "qnutil/fixedstring.h"
#include "qnutil/win32.h"

// One item of a list. Callers read nodes; only the list links, unlinks and frees them.
struct CFstrNode {
  CFixedString m_fstr;  // the item; in a CGuidList exactly 38 code units
  CFstrNode *m_pPrev;   // NULL for the first node
  CFstrNode *m_pNext;   // NULL for the last node
};

// The fields and the node chain shared by both lists. Virtual slots: the destructor, then the
// assignment from another list. Exported too, so that assigning through a base reference (which
// the compiler may bind directly when it knows the object) links in callers.
class QNUTIL_API CFstrListBase {
 public:
  CFstrListBase();
  virtual ~CFstrListBase();
  // Clears this list, then appends a copy of every item of the source in order. The source is not
  // changed. A throw leaves the items copied so far.
  virtual CFstrListBase &operator=(CFstrListBase &source);

  DWORD Count() const { return m_cItems; }
  const CFstrNode *Head() const { return m_pHead; }  // NULL when empty
  const CFstrNode *Tail() const { return m_pTail; }  // NULL when empty

 protected:
  CFstrListBase(const CFstrListBase &) = delete;
  // Appends a node whose item holds the first cch code units of the text (cch need not reach a
  // terminator). Constant time; one node and one text allocation.
  void AppendCopy(const unsigned short *pwch, DWORD cch);
  // Appends a node that already holds its item; the node is owned by the list from here on.
  void AppendNode(CFstrNode *pNode);
  // Unlinks and frees every node, from the head.
  void RemoveAll();

  DWORD m_cItems;      // nodes reachable from m_pHead
  CFstrNode *m_pHead;  // both NULL or both non-NULL
  CFstrNode *m_pTail;
};

class QNUTIL_API CFstrList : public CFstrListBase {
 public:
  CFstrList();
  // An independent copy holding equal items in the same order; the source is not changed.
  CFstrList(CFstrList &source);
  ~CFstrList() override;
  CFstrList &operator=(CFstrList &source);

  // Splits the text at the separator and appends the pieces to the list (it is not cleared first).
  // Each piece starts after the blanks that follow a separator (or the start); trailing blanks stay
  // in the piece. Empty pieces between separators are kept; a blank or empty rest after the last
  // separator is not. A separator of 0 makes the text, less its leading blanks, one item. S_OK.
  HRESULT FromString(const unsigned short *pwsz, unsigned short chSeparator);

  // Stores in *ppsa a new one-dimensional array of VARIANTs, lower bound 0, one VT_BSTR element per
  // item in order; the array and its strings belong to the caller (SafeArrayDestroy). S_OK, or
  // E_OUTOFMEMORY with *ppsa NULL when the array or one of its strings could not be made (nothing is
  // left allocated then), or the failure of SafeArrayPtrOfIndex. Writes only through element
  // addresses the platform answered.
  HRESULT BuildVariantSafeArray(SAFEARRAY **ppsa);
};

class QNUTIL_API CGuidList : public CFstrListBase {
 public:
  CGuidList();
  CGuidList(CGuidList &source);
  ~CGuidList() override;
  CGuidList &operator=(CGuidList &source);

  // Appends the 38-code-unit GUID texts of the text, separated by commas followed by blanks or by
  // blanks alone; leading blanks are skipped. Texts are stored as written: braces, hyphens, digits
  // and letter case are not checked. S_OK; E_INVALIDARG when a piece has fewer than 38 code units
  // left, with the GUIDs appended before it kept (callers wanting all-or-nothing copy the list first).
  HRESULT FromString(const unsigned short *pwsz);
};
