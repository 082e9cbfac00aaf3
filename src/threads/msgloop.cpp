// CMsgLoopThread: the loop thread that owns one window, the lock through which other threads read
// its handle, and HandleMessages.

#include "qnutil/msgloop.h"
#include "threads/wake_mask.h"

namespace {

constexpr DWORD kReadyTimeoutMs = 10000;
// How often the loop wakes without input to see whether its window still exists.
constexpr DWORD kWindowCheckMs = 2500;

}  // namespace

CMsgLoopThread::CMsgLoopThread() : m_pCreator(NULL), m_hwnd(NULL) {}

CMsgLoopThread::~CMsgLoopThread() { FStop(true, 10000); }

bool CMsgLoopThread::Start(ICreateWindow *pCreator) {
  if (!m_hevReady) m_hevReady = CreateEventW(NULL, FALSE, FALSE, NULL);
  m_pCreator = pCreator;
  if (HThread() != NULL) return false;
  // A window that appeared after an earlier Start had given up would have left the event set.
  ResetEvent(m_hevReady);
  if (!FLaunch(0)) return false;
  return WaitForSingleObject(m_hevReady, kReadyTimeoutMs) == WAIT_OBJECT_0;
}

HWND CMsgLoopThread::LockHWND() {
  m_csWindow.Lock();
  return m_hwnd;
}

void CMsgLoopThread::ReleaseHWND() { m_csWindow.Unlock(); }

void CMsgLoopThread::ThreadMain() {
  if (m_pCreator == NULL) return;  // started through FStart: there is nobody to make a window
  const HWND hwnd = m_pCreator->HCreateWindow();
  m_csWindow.Lock();
  m_hwnd = hwnd;
  m_csWindow.Unlock();
  if (hwnd == NULL) return;
  SetEvent(m_hevReady);

  HANDLE hevStop = HEvStop();
  for (;;) {
    const DWORD dwWait = MsgWaitForMultipleObjects(1, &hevStop, FALSE, kWindowCheckMs, qn_threads::kWakeOnAnyInput);
    MSG msg;
    while (PeekMessageW(&msg, NULL, 0, 0, PM_REMOVE)) {
      if (!IsDialogMessageW(hwnd, &msg)) {
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
      }
    }
    if (!IsWindow(hwnd)) {
      // The loop ends here rather than after one more pass, so the creator hears of it once.
      SetEvent(hevStop);
      m_pCreator->OnHWNDDestroyed(hwnd);
      return;
    }
    if (dwWait != WAIT_TIMEOUT && dwWait != WAIT_OBJECT_0 + 1) return;  // stopped, or a failed wait
  }
}

void CMsgLoopThread::OnShutdown() {
  m_csWindow.Lock();
  const HWND hwnd = m_hwnd;
  m_hwnd = NULL;
  m_csWindow.Unlock();
  if (m_pCreator != NULL) m_pCreator->DestroyHWND(hwnd);
}

CLockHWND::CLockHWND(CMsgLoopThread *pThread) : m_pThread(pThread), m_hwnd(pThread->LockHWND()) {}

CLockHWND::~CLockHWND() { m_pThread->ReleaseHWND(); }

void HandleMessages(DWORD dwWakeMask, HWND hwnd) {
  MSG msg;
  if (dwWakeMask == QS_SENDMESSAGE) {
    PeekMessageW(&msg, hwnd, 0, 0, PM_NOREMOVE);
    return;
  }
  while (PeekMessageW(&msg, hwnd, 0, 0, PM_REMOVE)) {
    TranslateMessage(&msg);
    DispatchMessageW(&msg);
  }
}
