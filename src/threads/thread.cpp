// CThread: starting, stopping and ending a worker thread, and the thread procedure's guard.

#include "qnutil/thread.h"

#include "qnutil/frame.h"
#include "threads/wake_mask.h"

#if defined(_WIN32)
#  include <process.h>
#else
#  include <cxxabi.h>
#endif

namespace {

// The code under which a C++ throw travels as a structured exception on Windows ('msc' | 0xE0000000).
constexpr DWORD kCppExceptionCode = 0xE06D7363;
constexpr DWORD kForcedStopExitCode = 0xFFFFFFFF;
constexpr DWORD kTerminateExitCode = 0xB1B0B1B0;

// Asks the worker frame's filter about the C++ exception being handled, as a structured exception
// filter would be asked about a thrown object.
int FilterCaughtException() {
  EXCEPTION_RECORD record = {};
  record.ExceptionCode = kCppExceptionCode;
  record.ExceptionFlags = EXCEPTION_NONCONTINUABLE;
  EXCEPTION_POINTERS pointers = {&record, NULL};
  return QNExceptionHandler(GetCurrentThreadId(), kCppExceptionCode, &pointers);
}

// Removes and dispatches everything in the calling thread's queue, sent messages included.
void DispatchAllMessages() {
  MSG msg;
  while (PeekMessageW(&msg, NULL, 0, 0, PM_REMOVE)) {
    TranslateMessage(&msg);
    DispatchMessageW(&msg);
  }
}

}  // namespace

CThread::CThread() : m_dwThreadId(0) { m_hevStop = CreateEventW(NULL, TRUE, FALSE, NULL); }

CThread::~CThread() { FStop(true, 10000); }

bool CThread::FStart(DWORD dwCreationFlags) {
  if (m_hThread() != NULL) return false;
  return FLaunch(dwCreationFlags);
}

// The thread starts suspended whatever the caller asked, so that its handle and identifier are
// stored before it can run: ThreadMain may read ThreadID and HThread from its first instruction.
bool CThread::FLaunch(DWORD dwCreationFlags) {
  ResetEvent(m_hevStop);
  unsigned id = 0;
  m_hThread = reinterpret_cast<HANDLE>(
      _beginthreadex(NULL, 0, ThreadProc, this, dwCreationFlags | CREATE_SUSPENDED, &id));
  if (!m_hThread) return false;
  m_dwThreadId = id;
  if ((dwCreationFlags & CREATE_SUSPENDED) == 0 && ::ResumeThread(m_hThread) == static_cast<DWORD>(-1)) {
    // A thread that cannot be resumed would never run: end it rather than hold it for ever.
    ::TerminateThread(m_hThread, kTerminateExitCode);
    m_hThread.CloseHandle();
    m_dwThreadId = 0;
    return false;
  }
  return true;
}

bool CThread::FStop(bool fForce, DWORD dwTimeout) {
  if (m_hThread() == NULL) return true;
  SetEvent(m_hevStop);
  HANDLE hThread = m_hThread;
  DWORD dwWait;
  while ((dwWait = MsgWaitForMultipleObjects(1, &hThread, FALSE, dwTimeout, qn_threads::kWakeOnAnyInput)) == WAIT_OBJECT_0 + 1)
    DispatchAllMessages();
  bool fEnded = dwWait == WAIT_OBJECT_0;
  if (!fEnded && fForce) {
    ::TerminateThread(hThread, kForcedStopExitCode);
    fEnded = true;
  }
  m_hThread.CloseHandle();
  m_dwThreadId = 0;
  return fEnded;
}

bool CThread::FIsIdle() {
  if (!m_hThread) return true;
  if (WaitForSingleObject(m_hThread, 0) != WAIT_OBJECT_0) return false;
  m_hThread.CloseHandle();
  return true;
}

bool CThread::FShouldStop() { return WaitForSingleObject(m_hevStop, 0) == WAIT_OBJECT_0; }

bool CThread::FSetPriority(int nPriority) { return ::SetThreadPriority(m_hThread, nPriority) != FALSE; }

bool CThread::SuspendThread() { return ::SuspendThread(m_hThread) != static_cast<DWORD>(-1); }

bool CThread::ResumeThread() { return ::ResumeThread(m_hThread) != static_cast<DWORD>(-1); }

bool CThread::Terminate() {
  if (!m_hThread) return true;
  const BOOL fTerminated = ::TerminateThread(m_hThread, kTerminateExitCode);
  m_hThread.CloseHandle();
  return fTerminated != FALSE;
}

bool CThread::BInitialize() { return true; }

void CThread::ThreadMain() {}

void CThread::OnShutdown() {}

unsigned WINAPI CThread::ThreadProc(void *pvThis) {
  CThread *pThis = static_cast<CThread *>(pvThis);
  try {
    if (pThis->BInitialize()) pThis->ThreadMain();
#if !defined(_WIN32)
  } catch (abi::__forced_unwind &) {
    throw;  // a forced end of the thread unwinds it: it must go on
#endif
  } catch (...) {
    if (FilterCaughtException() != EXCEPTION_EXECUTE_HANDLER) throw;
  }
  pThis->OnShutdown();
  return 0;
}
