// Window classes and windows: creation and destruction with the messages Windows sends, the
// default procedure, dispatching, the focus, key translation and the keyboard interface of
// dialogs. The queues they post to are in msgqueue.cpp.
#include <map>
#include <new>
#include <string>
#include <vector>

#include "internal/chartable.h"
#include "internal/msgqueue.h"

namespace qn::posix {
namespace {

struct WindowClass {
  std::u16string key;  // the name in lower case
  HINSTANCE instance;
  ATOM atom;
  UINT style;
  WNDPROC proc;
  int cbWndExtra;
  int windows = 0;
};
using ClassPtr = std::shared_ptr<WindowClass>;

struct Window {
  HWND hwnd;
  ClassPtr cls;
  DWORD threadId;
  QueuePtr queue;
  WNDPROC proc;
  HWND parent;  // of a WS_CHILD window; NULL otherwise
  HWND owner;   // of a top-level window that has one
  LONG_PTR style;
  LONG_PTR exStyle;
  LONG_PTR instance;
  LONG_PTR id;
  LONG_PTR userData = 0;
  std::vector<unsigned char> extra;
  bool destroying = false;
};
using WindowPtr = std::shared_ptr<Window>;

// HWNDs are 2 modulo 4, so that no value is ever also a handle of the handle table (multiples of
// 4), and they count up, so that a destroyed window's value stays invalid for a long time.
constexpr uintptr_t kFirstHwnd = 0x10002;
constexpr uintptr_t kLastHwnd = 0x7FFFFFFE;

// Never destroyed: a thread that ends during static destruction still forgets its windows here.
struct Tables {
  std::mutex mutex;
  std::map<uintptr_t, WindowPtr> windows;  // in creation order until the values wrap
  uintptr_t next = kFirstHwnd;
  std::vector<ClassPtr> classes;
  std::map<std::u16string, ATOM> atoms;  // a name keeps its atom for the life of the process
  ATOM nextAtom = 0xC000;
};
Tables &T() noexcept {
  static Tables *tables = new Tables;
  return *tables;
}
using Lock = std::lock_guard<std::mutex>;

thread_local HWND t_focus = nullptr;

bool IsAtom(LPCWSTR name) noexcept { return reinterpret_cast<uintptr_t>(name) < 0x10000; }

std::u16string KeyOf(LPCWSTR name) {
  std::u16string key;
  for (; *name; ++name) key.push_back(static_cast<char16_t>(LowerOf(*name)));
  return key;
}

HINSTANCE InstanceOrMain(HINSTANCE instance) noexcept { return instance ? instance : GetModuleHandleW(nullptr); }

WindowPtr FindLocked(HWND hwnd) noexcept {
  auto it = T().windows.find(reinterpret_cast<uintptr_t>(hwnd));
  return it == T().windows.end() ? nullptr : it->second;
}

WindowPtr Find(HWND hwnd) noexcept {
  WindowPtr window;
  {
    Lock lock(T().mutex);
    window = FindLocked(hwnd);
  }
  if (!window) SetLastError(ERROR_INVALID_WINDOW_HANDLE);
  return window;
}

// A class of the module by name or atom; CS_GLOBALCLASS classes serve every module.
ClassPtr FindClassLocked(LPCWSTR name, HINSTANCE instance) {
  const ATOM atom = IsAtom(name) ? static_cast<ATOM>(reinterpret_cast<uintptr_t>(name)) : 0;
  const std::u16string key = atom ? std::u16string() : KeyOf(name);
  ClassPtr global;
  for (const ClassPtr &cls : T().classes) {
    if (atom ? cls->atom != atom : cls->key != key) continue;
    if (cls->instance == instance) return cls;
    if (cls->style & CS_GLOBALCLASS) global = cls;
  }
  return global;
}

bool AllocateHwndLocked(uintptr_t *value) noexcept {
  Tables &t = T();
  for (uintptr_t tries = 0; tries < (kLastHwnd - kFirstHwnd) / 4; ++tries) {
    const uintptr_t candidate = t.next;
    t.next = candidate >= kLastHwnd ? kFirstHwnd : candidate + 4;
    if (t.windows.count(candidate) == 0) {
      *value = candidate;
      return true;
    }
  }
  return false;
}

// The window and its descendants, parents before children (each parent next to its own), leaving
// out those that a destruction in progress has already taken. Called with the table locked.
void CollectTreeLocked(HWND root, std::vector<HWND> *out) {
  out->push_back(root);
  for (const auto &entry : T().windows) {
    if (entry.second->parent == root && !entry.second->destroying) CollectTreeLocked(entry.second->hwnd, out);
  }
}

void RemoveLocked(HWND hwnd) noexcept {
  auto it = T().windows.find(reinterpret_cast<uintptr_t>(hwnd));
  if (it == T().windows.end()) return;
  --it->second->cls->windows;
  T().windows.erase(it);
}

// Destroys a window of the calling thread. sendDestroy is false for a window whose creation
// failed: Windows then sends it WM_NCDESTROY only.
void DestroyTree(HWND hwnd, bool sendDestroy) {
  std::vector<HWND> owned;
  {
    Lock lock(T().mutex);
    WindowPtr window = FindLocked(hwnd);
    if (!window || window->destroying) return;
    window->destroying = true;
    for (const auto &entry : T().windows) {
      if (entry.second->owner == hwnd && !entry.second->destroying) owned.push_back(entry.second->hwnd);
    }
  }
  // Owned windows go first, each as a whole.
  for (HWND w : owned) DestroyWindow(w);

  std::vector<HWND> tree;
  {
    Lock lock(T().mutex);
    CollectTreeLocked(hwnd, &tree);
    for (HWND w : tree) FindLocked(w)->destroying = true;
  }
  if (t_focus && (t_focus == hwnd || IsChild(hwnd, t_focus))) {
    HWND focus = t_focus;
    t_focus = nullptr;
    CallWindowProcedure(focus, WM_KILLFOCUS, 0, 0);
  }
  for (size_t i = sendDestroy ? 0 : 1; i < tree.size(); ++i) CallWindowProcedure(tree[i], WM_DESTROY, 0, 0);
  // Children before their parents: the reverse of parents-first order.
  for (auto it = tree.rbegin(); it != tree.rend(); ++it) {
    CallWindowProcedure(*it, WM_NCDESTROY, 0, 0);
    QueuePtr queue;
    {
      Lock lock(T().mutex);
      if (WindowPtr window = FindLocked(*it)) queue = window->queue;
      RemoveLocked(*it);
    }
    if (queue) queue->DropMessagesOf(*it);
  }
}

// The next control of a dialog that Tab moves the focus to, after the one holding the focus;
// NULL when the dialog has none.
HWND NextTabStop(HWND dialog, HWND focus) {
  Lock lock(T().mutex);
  // The dialog's child that holds the focus, itself or through a descendant.
  WindowPtr current = FindLocked(focus);
  while (current && current->parent && current->parent != dialog) current = FindLocked(current->parent);
  std::vector<HWND> stops;
  size_t after = 0;
  for (const auto &entry : T().windows) {
    const Window &w = *entry.second;
    if (w.parent != dialog) continue;
    if (current && w.hwnd == current->hwnd) after = stops.size();
    const bool stop = (w.style & WS_TABSTOP) && (w.style & WS_VISIBLE) && !(w.style & WS_DISABLED);
    if (stop) stops.push_back(w.hwnd);
    if (current && w.hwnd == current->hwnd && stop) after = stops.size();
  }
  if (stops.empty()) return nullptr;
  return stops[after % stops.size()];
}

// The character that a key types without any modifier, or 0.
WCHAR CharOfKey(WPARAM key) noexcept {
  if (key >= 'A' && key <= 'Z') return static_cast<WCHAR>(key - 'A' + 'a');
  if (key >= '0' && key <= '9') return static_cast<WCHAR>(key);
  switch (key) {
    case VK_SPACE:
    case VK_TAB:
    case VK_RETURN:
    case VK_ESCAPE:
    case VK_BACK:
      return static_cast<WCHAR>(key);
    default:
      return 0;
  }
}

// WM_COMMAND of a button of the dialog, as a click on it would send it.
void SendCommand(HWND dialog, WORD id) {
  HWND control = nullptr;
  {
    Lock lock(T().mutex);
    for (const auto &entry : T().windows) {
      if (entry.second->parent == dialog && entry.second->id == id) {
        control = entry.second->hwnd;
        break;
      }
    }
  }
  SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(control));
}

// A field of a window by GetWindowLongPtrW index; null for an index that names none.
LONG_PTR *FieldOf(Window &window, int index) noexcept {
  switch (index) {
    case GWL_STYLE:
      return &window.style;
    case GWL_EXSTYLE:
      return &window.exStyle;
    case GWLP_HINSTANCE:
      return &window.instance;
    case GWLP_ID:
      return &window.id;
    case GWLP_USERDATA:
      return &window.userData;
    default:
      return nullptr;
  }
}

}  // namespace

LRESULT CallWindowProcedure(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) noexcept {
  WNDPROC proc;
  {
    Lock lock(T().mutex);
    WindowPtr window = FindLocked(hwnd);
    if (!window) return 0;
    proc = window->proc;
  }
  return proc ? proc(hwnd, message, wParam, lParam) : DefWindowProcW(hwnd, message, wParam, lParam);
}

bool WindowOwner(HWND hwnd, DWORD *threadId, QueuePtr *queue) noexcept {
  WindowPtr window = Find(hwnd);
  if (!window) return false;
  *threadId = window->threadId;
  *queue = window->queue;
  return true;
}

bool PostToWindow(const MSG &msg) noexcept {
  Lock lock(T().mutex);
  WindowPtr window = FindLocked(msg.hwnd);
  const MessageQueue::Posted posted = window ? window->queue->Post(msg) : MessageQueue::Posted::Closed;
  if (posted == MessageQueue::Posted::Yes) return true;
  SetLastError(posted == MessageQueue::Posted::NoMemory ? ERROR_NOT_ENOUGH_MEMORY : ERROR_INVALID_WINDOW_HANDLE);
  return false;
}

bool WindowAndDescendants(HWND hwnd, std::vector<HWND> *hwnds) noexcept {
  try {
    Lock lock(T().mutex);
    if (!FindLocked(hwnd)) {
      SetLastError(ERROR_INVALID_WINDOW_HANDLE);
      return false;
    }
    CollectTreeLocked(hwnd, hwnds);
    return true;
  } catch (const std::bad_alloc &) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return false;
  }
}

void ForgetThreadWindows(DWORD threadId) noexcept {
  Lock lock(T().mutex);
  for (auto it = T().windows.begin(); it != T().windows.end();) {
    if (it->second->threadId == threadId) {
      --it->second->cls->windows;
      it = T().windows.erase(it);
    } else {
      ++it;
    }
  }
}

}  // namespace qn::posix

using qn::posix::Find;
using qn::posix::T;
using qn::posix::WindowPtr;
using Lock = std::lock_guard<std::mutex>;

extern "C" {

ATOM WINAPI RegisterClassW(const WNDCLASSW *lpWndClass) {
  if (!lpWndClass || !lpWndClass->lpszClassName || qn::posix::IsAtom(lpWndClass->lpszClassName) ||
      lpWndClass->lpszClassName[0] == 0 || lpWndClass->cbWndExtra < 0 || lpWndClass->cbClsExtra < 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const HINSTANCE instance = qn::posix::InstanceOrMain(lpWndClass->hInstance);
  try {
    auto cls = std::make_shared<qn::posix::WindowClass>();
    cls->key = qn::posix::KeyOf(lpWndClass->lpszClassName);
    cls->instance = instance;
    cls->style = lpWndClass->style;
    cls->proc = lpWndClass->lpfnWndProc;
    cls->cbWndExtra = lpWndClass->cbWndExtra;
    Lock lock(T().mutex);
    for (const qn::posix::ClassPtr &other : T().classes) {
      if (other->key == cls->key && other->instance == instance) {
        SetLastError(ERROR_CLASS_ALREADY_EXISTS);
        return 0;
      }
    }
    auto atom = T().atoms.find(cls->key);
    if (atom == T().atoms.end()) {
      if (T().nextAtom == 0) {  // all 16384 atoms are taken
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
      }
      atom = T().atoms.emplace(cls->key, T().nextAtom++).first;
    }
    cls->atom = atom->second;
    T().classes.push_back(cls);
    return cls->atom;
  } catch (const std::bad_alloc &) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
}

BOOL WINAPI UnregisterClassW(LPCWSTR lpClassName, HINSTANCE hInstance) {
  if (!lpClassName) {
    SetLastError(ERROR_CLASS_DOES_NOT_EXIST);
    return FALSE;
  }
  const HINSTANCE instance = qn::posix::InstanceOrMain(hInstance);
  try {
    Lock lock(T().mutex);
    std::vector<qn::posix::ClassPtr> &classes = T().classes;
    for (auto it = classes.begin(); it != classes.end(); ++it) {
      const bool named = qn::posix::IsAtom(lpClassName)
                             ? (*it)->atom == reinterpret_cast<uintptr_t>(lpClassName)
                             : (*it)->key == qn::posix::KeyOf(lpClassName);
      if (!named || (*it)->instance != instance) continue;
      if ((*it)->windows > 0) {
        SetLastError(ERROR_CLASS_HAS_WINDOWS);
        return FALSE;
      }
      classes.erase(it);
      return TRUE;
    }
  } catch (const std::bad_alloc &) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return FALSE;
  }
  SetLastError(ERROR_CLASS_DOES_NOT_EXIST);
  return FALSE;
}

HWND WINAPI CreateWindowExW(DWORD dwExStyle, LPCWSTR lpClassName, LPCWSTR lpWindowName, DWORD dwStyle, int X,
                            int Y, int nWidth, int nHeight, HWND hWndParent, HMENU hMenu, HINSTANCE hInstance,
                            LPVOID lpParam) {
  qn::posix::QueuePtr queue = qn::posix::CurrentQueue();
  if (!queue || !lpClassName) {
    if (queue) SetLastError(ERROR_CANNOT_FIND_WND_CLASS);
    return nullptr;
  }
  const DWORD self = GetCurrentThreadId();
  HWND hwnd;
  try {
    Lock lock(T().mutex);
    qn::posix::ClassPtr cls = qn::posix::FindClassLocked(lpClassName, qn::posix::InstanceOrMain(hInstance));
    if (!cls) {
      SetLastError(ERROR_CANNOT_FIND_WND_CLASS);
      return nullptr;
    }
    HWND parent = nullptr;
    HWND owner = nullptr;
    if (hWndParent && hWndParent != HWND_MESSAGE) {
      WindowPtr relative = qn::posix::FindLocked(hWndParent);
      if (!relative) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return nullptr;
      }
      // The subset keeps a window's family on one thread, so that destroying a window never
      // calls a procedure of another thread.
      if (relative->threadId != self) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
      }
      if (dwStyle & WS_CHILD) {
        parent = hWndParent;
      } else {
        // An owner is always a top-level window.
        while (relative->parent) relative = qn::posix::FindLocked(relative->parent);
        owner = relative->hwnd;
      }
    } else if ((dwStyle & WS_CHILD) && !hWndParent) {
      SetLastError(ERROR_TLW_WITH_WSCHILD);
      return nullptr;
    }
    uintptr_t value;
    if (!qn::posix::AllocateHwndLocked(&value)) {
      SetLastError(ERROR_NOT_ENOUGH_MEMORY);
      return nullptr;
    }
    hwnd = reinterpret_cast<HWND>(value);
    auto window = std::make_shared<qn::posix::Window>();
    window->hwnd = hwnd;
    window->cls = cls;
    window->threadId = self;
    window->queue = queue;
    window->proc = cls->proc;
    window->parent = parent;
    window->owner = owner;
    window->style = static_cast<LONG>(dwStyle);
    window->exStyle = static_cast<LONG>(dwExStyle);
    window->instance = reinterpret_cast<LONG_PTR>(hInstance);
    window->id = parent ? reinterpret_cast<LONG_PTR>(hMenu) : 0;
    window->extra.resize(static_cast<size_t>(cls->cbWndExtra));
    T().windows.emplace(value, window);
    ++cls->windows;
  } catch (const std::bad_alloc &) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }

  CREATESTRUCTW create{lpParam,  hInstance, hMenu, hWndParent, nHeight, nWidth, Y, X, static_cast<LONG>(dwStyle),
                       lpWindowName, lpClassName, dwExStyle};
  const LPARAM lParam = reinterpret_cast<LPARAM>(&create);
  if (qn::posix::CallWindowProcedure(hwnd, WM_NCCREATE, 0, lParam) == 0 ||
      (IsWindow(hwnd) && qn::posix::CallWindowProcedure(hwnd, WM_CREATE, 0, lParam) == -1)) {
    qn::posix::DestroyTree(hwnd, false);
    return nullptr;
  }
  // A procedure may have destroyed its window while it was being created.
  return IsWindow(hwnd) ? hwnd : nullptr;
}

BOOL WINAPI DestroyWindow(HWND hWnd) {
  WindowPtr window = Find(hWnd);
  if (!window) return FALSE;
  if (window->threadId != GetCurrentThreadId()) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  try {
    qn::posix::DestroyTree(hWnd, true);
  } catch (const std::bad_alloc &) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return FALSE;
  }
  return TRUE;
}

BOOL WINAPI IsWindow(HWND hWnd) { return Find(hWnd) ? TRUE : FALSE; }

BOOL WINAPI IsChild(HWND hWndParent, HWND hWnd) {
  Lock lock(T().mutex);
  for (WindowPtr window = qn::posix::FindLocked(hWnd); window && window->parent;
       window = qn::posix::FindLocked(window->parent)) {
    if (window->parent == hWndParent) return TRUE;
  }
  return FALSE;
}

DWORD WINAPI GetWindowThreadProcessId(HWND hWnd, LPDWORD lpdwProcessId) {
  WindowPtr window = Find(hWnd);
  if (!window) return 0;
  if (lpdwProcessId) *lpdwProcessId = GetCurrentProcessId();
  return window->threadId;
}

LRESULT WINAPI DefWindowProcW(HWND hWnd, UINT Msg, WPARAM, LPARAM lParam) {
  switch (Msg) {
    case WM_NCCREATE:
      return lParam != 0 ? TRUE : FALSE;
    case WM_CLOSE:
      DestroyWindow(hWnd);
      return 0;
    default:
      return 0;
  }
}

LRESULT WINAPI CallWindowProcW(WNDPROC lpPrevWndFunc, HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam) {
  return lpPrevWndFunc ? lpPrevWndFunc(hWnd, Msg, wParam, lParam) : 0;
}

LONG_PTR WINAPI GetWindowLongPtrW(HWND hWnd, int nIndex) {
  Lock lock(T().mutex);
  WindowPtr window = qn::posix::FindLocked(hWnd);
  if (!window) {
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return 0;
  }
  if (nIndex == GWLP_WNDPROC) return reinterpret_cast<LONG_PTR>(window->proc);
  if (LONG_PTR *field = qn::posix::FieldOf(*window, nIndex)) return *field;
  if (nIndex >= 0 && static_cast<size_t>(nIndex) + sizeof(LONG_PTR) <= window->extra.size()) {
    LONG_PTR value;
    memcpy(&value, window->extra.data() + nIndex, sizeof value);
    return value;
  }
  SetLastError(ERROR_INVALID_INDEX);
  return 0;
}

LONG_PTR WINAPI SetWindowLongPtrW(HWND hWnd, int nIndex, LONG_PTR dwNewLong) {
  Lock lock(T().mutex);
  WindowPtr window = qn::posix::FindLocked(hWnd);
  if (!window) {
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return 0;
  }
  LONG_PTR old;
  if (nIndex == GWLP_WNDPROC) {
    old = reinterpret_cast<LONG_PTR>(window->proc);
    window->proc = reinterpret_cast<WNDPROC>(dwNewLong);
  } else if (LONG_PTR *field = qn::posix::FieldOf(*window, nIndex)) {
    old = *field;
    *field = dwNewLong;
  } else if (nIndex >= 0 && static_cast<size_t>(nIndex) + sizeof(LONG_PTR) <= window->extra.size()) {
    memcpy(&old, window->extra.data() + nIndex, sizeof old);
    memcpy(window->extra.data() + nIndex, &dwNewLong, sizeof dwNewLong);
  } else {
    SetLastError(ERROR_INVALID_INDEX);
    return 0;
  }
  return old;
}

HWND WINAPI GetFocus(void) {
  HWND &focus = qn::posix::t_focus;
  if (focus) {
    Lock lock(T().mutex);
    if (!qn::posix::FindLocked(focus)) focus = nullptr;
  }
  return focus;
}

HWND WINAPI SetFocus(HWND hWnd) {
  if (hWnd) {
    WindowPtr window = Find(hWnd);
    if (!window) return nullptr;
    if (window->threadId != GetCurrentThreadId()) {
      SetLastError(ERROR_ACCESS_DENIED);
      return nullptr;
    }
  }
  HWND old = GetFocus();
  if (old == hWnd) return old;
  qn::posix::t_focus = hWnd;
  if (old) qn::posix::CallWindowProcedure(old, WM_KILLFOCUS, reinterpret_cast<WPARAM>(hWnd), 0);
  if (hWnd) qn::posix::CallWindowProcedure(hWnd, WM_SETFOCUS, reinterpret_cast<WPARAM>(old), 0);
  return old;
}

HWND WINAPI GetDlgItem(HWND hDlg, int nIDDlgItem) {
  Lock lock(T().mutex);
  if (!qn::posix::FindLocked(hDlg)) {
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return nullptr;
  }
  for (const auto &entry : T().windows) {
    if (entry.second->parent == hDlg && entry.second->id == nIDDlgItem) return entry.second->hwnd;
  }
  SetLastError(ERROR_CONTROL_ID_NOT_FOUND);
  return nullptr;
}

BOOL WINAPI TranslateMessage(const MSG *lpMsg) {
  if (!lpMsg) return FALSE;
  switch (lpMsg->message) {
    case WM_KEYDOWN:
    case WM_SYSKEYDOWN:
      if (const WCHAR c = qn::posix::CharOfKey(lpMsg->wParam)) {
        PostMessageW(lpMsg->hwnd, lpMsg->message == WM_KEYDOWN ? WM_CHAR : WM_SYSCHAR, c, lpMsg->lParam);
      }
      return TRUE;
    case WM_KEYUP:
    case WM_SYSKEYUP:
      return TRUE;
    default:
      return FALSE;
  }
}

LRESULT WINAPI DispatchMessageW(const MSG *lpMsg) {
  if (!lpMsg || !lpMsg->hwnd) return 0;
  if (!IsWindow(lpMsg->hwnd)) return 0;
  return qn::posix::CallWindowProcedure(lpMsg->hwnd, lpMsg->message, lpMsg->wParam, lpMsg->lParam);
}

BOOL WINAPI IsDialogMessageW(HWND hDlg, LPMSG lpMsg) {
  if (!hDlg || !lpMsg || !lpMsg->hwnd) return FALSE;
  if (lpMsg->hwnd != hDlg && !IsChild(hDlg, lpMsg->hwnd)) return FALSE;
  if (lpMsg->message == WM_KEYDOWN) {
    const LRESULT code =
        SendMessageW(lpMsg->hwnd, WM_GETDLGCODE, lpMsg->wParam, reinterpret_cast<LPARAM>(lpMsg));
    switch (lpMsg->wParam) {
      case VK_TAB:
        if (!(code & (DLGC_WANTTAB | DLGC_WANTMESSAGE))) {
          HWND next = qn::posix::NextTabStop(hDlg, GetFocus());
          // Without a control to move to, the key is left to the caller, as Windows does.
          if (!next) return FALSE;
          SetFocus(next);
          return TRUE;
        }
        break;
      case VK_RETURN:
        if (!(code & DLGC_WANTMESSAGE)) {
          const LRESULT def = SendMessageW(hDlg, DM_GETDEFID, 0, 0);
          qn::posix::SendCommand(hDlg, HIWORD(def) == DC_HASDEFID ? LOWORD(def) : IDOK);
          return TRUE;
        }
        break;
      case VK_ESCAPE:
        if (!(code & DLGC_WANTMESSAGE)) {
          qn::posix::SendCommand(hDlg, IDCANCEL);
          return TRUE;
        }
        break;
      default:
        break;
    }
  }
  TranslateMessage(lpMsg);
  DispatchMessageW(lpMsg);
  return TRUE;
}

}  // extern "C"
