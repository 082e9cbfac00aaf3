// Scoped holders for what the Automation helpers borrow from the platform: a VARIANT that is cleared
// and an interface reference that is released when the scope ends, exceptions included.
#pragma once

#include "qnutil/win32.h"

namespace qn::automation {

class ScopedVariant {
 public:
  ScopedVariant() { VariantInit(&m_var); }
  ~ScopedVariant() { VariantClear(&m_var); }
  ScopedVariant(const ScopedVariant &) = delete;
  ScopedVariant &operator=(const ScopedVariant &) = delete;

  VARIANT *operator&() { return &m_var; }
  VARIANT &Get() { return m_var; }

 private:
  VARIANT m_var;
};

// Owns one reference: either one the holder is given (an out-parameter filled through Out()) or one
// it takes itself (Adopt with AddRef).
template <class T>
class ComRef {
 public:
  ComRef() : m_p(nullptr) {}
  ~ComRef() {
    if (m_p != nullptr) m_p->Release();
  }
  ComRef(const ComRef &) = delete;
  ComRef &operator=(const ComRef &) = delete;

  // Takes a reference of its own to p.
  void AddRefFrom(T *p) {
    if (p != nullptr) p->AddRef();
    Reset();
    m_p = p;
  }
  void Reset() {
    T *p = m_p;
    m_p = nullptr;
    if (p != nullptr) p->Release();
  }
  T **Out() {
    Reset();
    return &m_p;
  }
  void **OutVoid() { return reinterpret_cast<void **>(Out()); }
  T *operator->() const { return m_p; }
  T *Get() const { return m_p; }

 private:
  T *m_p;
};

}  // namespace qn::automation
