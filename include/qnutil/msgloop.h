// CMsgLoopThread: a worker thread that owns one window, made by a caller's ICreateWindow, and
// services that thread's messages until it is asked to stop or the window goes away. Other
// threads reach the window handle under the object's window lock (LockHWND/ReleaseHWND, or the
// scoped CLockHWND). HandleMessages services the calling thread's queue once, for applications
// that run a wait loop of their own.
//
// The loop wakes at least every 2500 ms, so a window that vanishes on its own (closed by the user,
// destroyed by its own procedure) is noticed within that time, or at once when a message arrives.
// Start waits up to 10000 ms for the window.
#pragma once

#include "qnutil/export.h"
#include "qnutil/handles.h"
#include "qnutil/thread.h"
#include "qnutil/win32.h"

// Makes and unmakes the loop thread's window; every call comes on the loop thread. Not a COM
// interface: no reference counting. The loop thread does not own the creator, which must outlive
// it. The three operations are the interface's first three virtual slots; it is never deleted
// through this interface, so it has no virtual destructor.
class ICreateWindow {
 public:
  // Makes the window; NULL when none could be made (the loop thread then ends at once).
  virtual HWND HCreateWindow() = 0;
  // Destroys the window, on the thread that owns it, once the loop is over. Called with NULL when
  // HCreateWindow failed, and with a handle that no longer names a window when it vanished.
  virtual void DestroyHWND(HWND hwnd) = 0;
  // The window ceased to exist while the loop ran; called once, before the loop ends and
  // DestroyHWND is called with the same handle.
  virtual void OnHWNDDestroyed(HWND hwnd) = 0;

 protected:
  ~ICreateWindow() = default;
};

// A CThread whose thread creates a window through an ICreateWindow and services its messages
// (IsDialogMessageW first, then TranslateMessage and DispatchMessageW) until the stop event is
// signalled or the window has gone. Started with Start: the loop needs a creator, and a thread
// started through the inherited FStart before any Start ends at once, without a window. FStop,
// FIsIdle, HThread and the rest are inherited unchanged.
//
// The window handle is stored under the window lock once the window has been made, and cleared
// under it before the creator destroys the window; DestroyHWND itself runs outside the lock. So a
// holder of the lock sees NULL or the window of a loop that runs or has just ended, never one that
// the creator has begun to destroy (a window may still go away on its own), and DestroyHWND never
// waits for a holder. Clearing does wait for a holder: one that meanwhile waits on the loop thread
// (sends its window a message, say) waits for ever, since the loop services no message by then.
//
// Copying: none, for the reasons of CThread; the window lock's address is the lock, too.
class QNUTIL_API CMsgLoopThread : public CThread {
 public:
  CMsgLoopThread();
  // FStop(true, 10000) while the object is still whole (so DestroyHWND runs on the loop thread
  // before the destructor returns), then releases the ready event and the window lock.
  virtual ~CMsgLoopThread();
  CMsgLoopThread(const CMsgLoopThread &) = delete;
  CMsgLoopThread &operator=(const CMsgLoopThread &) = delete;

  // Keeps pCreator (replacing the one given before, even when the call then fails), starts the
  // loop thread and waits up to 10000 ms for its window. True exactly when the window exists and
  // its handle is stored. False at once when a thread is still held or cannot be created; false
  // after the full wait when HCreateWindow answered NULL or was slower than 10 s (the thread is
  // then still held, until FIsIdle or FStop). Do not hold the window lock while calling it: the
  // loop thread takes it to store the window, and Start would wait out its time-out.
  bool Start(ICreateWindow *pCreator);

  // Takes the window lock (re-entrant) and answers the window handle, NULL when there is none.
  // Each call is matched by one ReleaseHWND on the same thread.
  HWND LockHWND();
  void ReleaseHWND();

 private:
  void ThreadMain() override;
  void OnShutdown() override;

  ICreateWindow *m_pCreator;     // not owned
  HWND m_hwnd;                   // the window while the loop thread has it, else NULL
  CCriticalSection m_csWindow;   // guards m_hwnd for other threads
  CHandle m_hevReady;            // auto-reset; signalled once the window exists
};

// Holds a loop thread's window lock for a scope and the window handle read under it.
class QNUTIL_API CLockHWND {
 public:
  explicit CLockHWND(CMsgLoopThread *pThread);
  ~CLockHWND();
  CLockHWND(const CLockHWND &) = delete;
  CLockHWND &operator=(const CLockHWND &) = delete;

  // The handle read when the lock was taken (NULL when the loop had no window).
  operator HWND() const { return m_hwnd; }

 private:
  CMsgLoopThread *m_pThread;
  HWND m_hwnd;
};

// Services the calling thread's queue once, for a wait loop of the caller's own. dwWakeMask is the
// QS_* mask the caller waited with. Exactly QS_SENDMESSAGE: delivers only the messages that other
// threads have sent to the thread's windows, leaving posted messages queued. Any other mask:
// removes, translates and dispatches every message for hwnd (NULL: every window of the thread and
// its thread messages) until none is left; IsDialogMessageW is not involved.
QNUTIL_API void HandleMessages(DWORD dwWakeMask, HWND hwnd);
