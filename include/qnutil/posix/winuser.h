// Windows and message queues in the subset: per-thread queues, window classes, windows with window
// procedures, posted and sent messages, and the waits that mix kernel objects with input.
//
// Queues. A thread gets its queue the first time it calls one of these services (a window
// creation, a Peek/Get, a wait on input); PostThreadMessageW to a thread that has none fails with
// ERROR_INVALID_THREAD_ID. When a thread ends, its windows are destroyed without a message to
// their procedures (as Windows does: the thread can no longer run them) and its queue goes with
// the messages still in it; threads waiting for an answer from it get 0.
//
// Windows. No drawing, no input devices, no desktop: a window is a procedure, a class, a parent
// or owner, a style and some storage. Message-only windows (parent HWND_MESSAGE), ordinary
// top-level windows, owned windows and child windows (WS_CHILD) all exist; geometry arguments are
// kept by nobody. HWND values are small non-zero numbers of a table of their own (windows are not
// kernel objects: CloseHandle and the waits refuse them), issued in order and not reused while the
// process has issued fewer than about a billion of them, so a stale HWND stays invalid.
//
// Sent messages. SendMessageW to a window of the calling thread calls its procedure directly. To
// another thread's window, the sender waits; the receiver runs the procedure inside its next
// GetMessageW, PeekMessageW (PM_NOREMOVE too) or SendMessageW wait, as Windows does, so a thread
// waiting for a reply still answers what is sent to it (two threads sending to each other do not
// deadlock). MsgWaitForMultipleObjects only reports that something was sent (QS_SENDMESSAGE).
//
// Limits: MSG.pt is always (0, 0), as there is no cursor; there is no posted-message quota; no
// timers, paint, hotkey or device input are ever generated, so those QS_ bits never rise. Creation
// sends WM_NCCREATE and WM_CREATE only (Windows also sends WM_GETMINMAXINFO, WM_NCCALCSIZE and,
// to some windows, WM_SIZE and WM_MOVE). A window's parent and owner must belong to the creating
// thread, so that destroying a window never runs a procedure on another thread.
#pragma once

#include "qnutil/posix/windef.h"

typedef UINT_PTR WPARAM;
typedef LONG_PTR LPARAM;
typedef LONG_PTR LRESULT;

DECLARE_HANDLE(HMENU);
DECLARE_HANDLE(HICON);
DECLARE_HANDLE(HBRUSH);
typedef HICON HCURSOR;

typedef struct tagPOINT {
  LONG x;
  LONG y;
} POINT, *PPOINT, *LPPOINT;

typedef struct tagMSG {
  HWND hwnd;
  UINT message;
  WPARAM wParam;
  LPARAM lParam;
  DWORD time;  // GetTickCount() when the message was posted
  POINT pt;
} MSG, *PMSG, *LPMSG;

typedef LRESULT(CALLBACK *WNDPROC)(HWND, UINT, WPARAM, LPARAM);

typedef struct tagWNDCLASSW {
  UINT style;
  WNDPROC lpfnWndProc;
  int cbClsExtra;
  int cbWndExtra;
  HINSTANCE hInstance;
  HICON hIcon;
  HCURSOR hCursor;
  HBRUSH hbrBackground;
  LPCWSTR lpszMenuName;
  LPCWSTR lpszClassName;
} WNDCLASSW, *PWNDCLASSW, *LPWNDCLASSW;

// The lParam of WM_NCCREATE and WM_CREATE.
typedef struct tagCREATESTRUCTW {
  LPVOID lpCreateParams;
  HINSTANCE hInstance;
  HMENU hMenu;
  HWND hwndParent;
  int cy;
  int cx;
  int y;
  int x;
  LONG style;
  LPCWSTR lpszName;
  LPCWSTR lpszClass;
  DWORD dwExStyle;
} CREATESTRUCTW, *LPCREATESTRUCTW;

// Errors of the window manager (winerror.h on Windows).
#define ERROR_MESSAGE_SYNC_ONLY 1159L
#define ERROR_INVALID_WINDOW_HANDLE 1400L
#define ERROR_TLW_WITH_WSCHILD 1406L
#define ERROR_CANNOT_FIND_WND_CLASS 1407L
#define ERROR_WINDOW_OF_OTHER_THREAD 1408L
#define ERROR_CLASS_ALREADY_EXISTS 1410L
#define ERROR_CLASS_DOES_NOT_EXIST 1411L
#define ERROR_CLASS_HAS_WINDOWS 1412L
#define ERROR_INVALID_INDEX 1413L
#define ERROR_CONTROL_ID_NOT_FOUND 1421L
#define ERROR_INVALID_THREAD_ID 1444L

#define WM_NULL 0x0000
#define WM_CREATE 0x0001
#define WM_DESTROY 0x0002
#define WM_MOVE 0x0003
#define WM_SIZE 0x0005
#define WM_ACTIVATE 0x0006
#define WM_SETFOCUS 0x0007
#define WM_KILLFOCUS 0x0008
#define WM_ENABLE 0x000A
#define WM_SETTEXT 0x000C
#define WM_GETTEXT 0x000D
#define WM_GETTEXTLENGTH 0x000E
#define WM_PAINT 0x000F
#define WM_CLOSE 0x0010
#define WM_QUIT 0x0012
#define WM_SHOWWINDOW 0x0018
#define WM_GETMINMAXINFO 0x0024
#define WM_NEXTDLGCTL 0x0028
#define WM_WINDOWPOSCHANGING 0x0046
#define WM_WINDOWPOSCHANGED 0x0047
#define WM_NCCREATE 0x0081
#define WM_NCDESTROY 0x0082
#define WM_NCCALCSIZE 0x0083
#define WM_GETDLGCODE 0x0087
#define WM_KEYFIRST 0x0100
#define WM_KEYDOWN 0x0100
#define WM_KEYUP 0x0101
#define WM_CHAR 0x0102
#define WM_SYSKEYDOWN 0x0104
#define WM_SYSKEYUP 0x0105
#define WM_SYSCHAR 0x0106
#define WM_KEYLAST 0x0109
#define WM_INITDIALOG 0x0110
#define WM_COMMAND 0x0111
#define WM_SYSCOMMAND 0x0112
#define WM_TIMER 0x0113
#define WM_MOUSEFIRST 0x0200
#define WM_MOUSEMOVE 0x0200
#define WM_LBUTTONDOWN 0x0201
#define WM_LBUTTONUP 0x0202
#define WM_PARENTNOTIFY 0x0210
#define WM_USER 0x0400
#define WM_APP 0x8000

// Dialog messages and answers.
#define DM_GETDEFID (WM_USER + 0)
#define DC_HASDEFID 0x534B
#define IDOK 1
#define IDCANCEL 2
#define BN_CLICKED 0

#define PM_NOREMOVE 0x0000
#define PM_REMOVE 0x0001
#define PM_NOYIELD 0x0002

// Kinds of input, for the wake masks of MsgWaitForMultipleObjects and PM_QS_ filters.
#define QS_KEY 0x0001
#define QS_MOUSEMOVE 0x0002
#define QS_MOUSEBUTTON 0x0004
#define QS_POSTMESSAGE 0x0008
#define QS_TIMER 0x0010
#define QS_PAINT 0x0020
#define QS_SENDMESSAGE 0x0040
#define QS_HOTKEY 0x0080
#define QS_ALLPOSTMESSAGE 0x0100
#define QS_RAWINPUT 0x0400
#define QS_TOUCH 0x0800
#define QS_POINTER 0x1000
#define QS_MOUSE (QS_MOUSEMOVE | QS_MOUSEBUTTON)
#define QS_INPUT (QS_MOUSE | QS_KEY | QS_RAWINPUT | QS_TOUCH | QS_POINTER)
#define QS_ALLEVENTS (QS_INPUT | QS_POSTMESSAGE | QS_TIMER | QS_PAINT | QS_HOTKEY)
#define QS_ALLINPUT (QS_INPUT | QS_POSTMESSAGE | QS_TIMER | QS_PAINT | QS_HOTKEY | QS_SENDMESSAGE)

#define PM_QS_INPUT (QS_INPUT << 16)
#define PM_QS_POSTMESSAGE ((QS_POSTMESSAGE | QS_HOTKEY | QS_TIMER) << 16)
#define PM_QS_PAINT (QS_PAINT << 16)
#define PM_QS_SENDMESSAGE (QS_SENDMESSAGE << 16)

#define MWMO_WAITALL 0x0001
#define MWMO_ALERTABLE 0x0002
#define MWMO_INPUTAVAILABLE 0x0004

#define HWND_MESSAGE ((HWND)-3)
#define CW_USEDEFAULT ((int)0x80000000)

#define CS_VREDRAW 0x0001
#define CS_HREDRAW 0x0002
#define CS_DBLCLKS 0x0008
#define CS_GLOBALCLASS 0x4000

#define WS_OVERLAPPED 0x00000000L
#define WS_POPUP 0x80000000L
#define WS_CHILD 0x40000000L
#define WS_VISIBLE 0x10000000L
#define WS_DISABLED 0x08000000L
#define WS_CAPTION 0x00C00000L
#define WS_SYSMENU 0x00080000L
#define WS_THICKFRAME 0x00040000L
#define WS_GROUP 0x00020000L
#define WS_TABSTOP 0x00010000L
#define WS_MINIMIZEBOX 0x00020000L
#define WS_MAXIMIZEBOX 0x00010000L
#define WS_OVERLAPPEDWINDOW (WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_THICKFRAME | WS_MINIMIZEBOX | WS_MAXIMIZEBOX)
#define WS_EX_TOOLWINDOW 0x00000080L
#define WS_EX_CONTROLPARENT 0x00010000L

#define GWLP_WNDPROC (-4)
#define GWLP_HINSTANCE (-6)
#define GWLP_ID (-12)
#define GWL_STYLE (-16)
#define GWL_EXSTYLE (-20)
#define GWLP_USERDATA (-21)

#define VK_BACK 0x08
#define VK_TAB 0x09
#define VK_RETURN 0x0D
#define VK_SHIFT 0x10
#define VK_CONTROL 0x11
#define VK_MENU 0x12
#define VK_ESCAPE 0x1B
#define VK_SPACE 0x20
#define VK_LEFT 0x25
#define VK_UP 0x26
#define VK_RIGHT 0x27
#define VK_DOWN 0x28

// What a control answers to WM_GETDLGCODE: the keys it keeps from the dialog's navigation.
#define DLGC_WANTARROWS 0x0001
#define DLGC_WANTTAB 0x0002
#define DLGC_WANTALLKEYS 0x0004
#define DLGC_WANTMESSAGE 0x0004
#define DLGC_HASSETSEL 0x0008
#define DLGC_DEFPUSHBUTTON 0x0010
#define DLGC_UNDEFPUSHBUTTON 0x0020
#define DLGC_RADIOBUTTON 0x0040
#define DLGC_WANTCHARS 0x0080
#define DLGC_STATIC 0x0100
#define DLGC_BUTTON 0x2000

#define MAKEWPARAM(l, h) ((WPARAM)(DWORD)MAKELONG(l, h))
#define MAKELPARAM(l, h) ((LPARAM)(DWORD)MAKELONG(l, h))

// Window classes belong to the module given as hInstance (NULL: the main program) and are named
// without regard to case. The answer is the class's atom (0xC000 and up, one per name whatever the
// module), usable as its name where a class name is asked for: (LPCWSTR)(ULONG_PTR)atom. 0 with
// ERROR_CLASS_ALREADY_EXISTS when the module has a class of that name, ERROR_INVALID_PARAMETER for
// a missing name. A class without a procedure gets DefWindowProcW's answers.
QN_WIN32_API ATOM WINAPI RegisterClassW(const WNDCLASSW *lpWndClass);
// FALSE with ERROR_CLASS_DOES_NOT_EXIST for an unknown class, ERROR_CLASS_HAS_WINDOWS while a
// window of the class exists.
QN_WIN32_API BOOL WINAPI UnregisterClassW(LPCWSTR lpClassName, HINSTANCE hInstance);

// Creates a window owned by the calling thread. WM_NCCREATE then WM_CREATE reach its procedure,
// both with a CREATESTRUCTW of the arguments (hwndParent as given, HWND_MESSAGE included); creation
// fails (NULL) when WM_NCCREATE answers 0 or WM_CREATE -1, and the window then gets WM_NCDESTROY
// only, as on Windows. hWndParent: HWND_MESSAGE for a message-only window, the parent of a WS_CHILD
// window (required: ERROR_TLW_WITH_WSCHILD otherwise), the owner of any other window (its top-level
// ancestor), or NULL. hMenu of a child window is its identifier (GWLP_ID). Errors:
// ERROR_CANNOT_FIND_WND_CLASS (Wine answers ERROR_CLASS_DOES_NOT_EXIST), ERROR_INVALID_WINDOW_HANDLE
// for a bad parent, ERROR_ACCESS_DENIED for a parent of another thread.
QN_WIN32_API HWND WINAPI CreateWindowExW(DWORD dwExStyle, LPCWSTR lpClassName, LPCWSTR lpWindowName,
                                         DWORD dwStyle, int X, int Y, int nWidth, int nHeight,
                                         HWND hWndParent, HMENU hMenu, HINSTANCE hInstance, LPVOID lpParam);
#define CreateWindowW(cls, name, style, x, y, w, h, parent, menu, inst, param) \
  CreateWindowExW(0, cls, name, style, x, y, w, h, parent, menu, inst, param)

// Destroys the windows that the window owns, each as a whole; takes the focus away (WM_KILLFOCUS)
// if it is in the window's family; sends WM_DESTROY to the window and then to its descendants
// (parents first), then WM_NCDESTROY to the descendants and the window (children first). Messages
// posted to these windows are dropped. Only the owning thread may destroy a window: FALSE with
// ERROR_ACCESS_DENIED from another thread, ERROR_INVALID_WINDOW_HANDLE for a bad one (Wine answers
// ERROR_ACCESS_DENIED there too).
QN_WIN32_API BOOL WINAPI DestroyWindow(HWND hWnd);
// Non-zero while hWnd names a window that has not been destroyed (from any thread);
// ERROR_INVALID_WINDOW_HANDLE otherwise.
QN_WIN32_API BOOL WINAPI IsWindow(HWND hWnd);
// TRUE when hWndParent is an ancestor of hWnd through WS_CHILD links.
QN_WIN32_API BOOL WINAPI IsChild(HWND hWndParent, HWND hWnd);
// The thread that owns the window (0 for a bad one), and its process through lpdwProcessId.
QN_WIN32_API DWORD WINAPI GetWindowThreadProcessId(HWND hWnd, LPDWORD lpdwProcessId);

// The default answers: TRUE to WM_NCCREATE with a CREATESTRUCTW, DestroyWindow on WM_CLOSE, 0 to
// everything else.
QN_WIN32_API LRESULT WINAPI DefWindowProcW(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam);
// Calls a procedure that GetWindowLongPtrW(GWLP_WNDPROC) answered, for subclassing.
QN_WIN32_API LRESULT WINAPI CallWindowProcW(WNDPROC lpPrevWndFunc, HWND hWnd, UINT Msg, WPARAM wParam,
                                            LPARAM lParam);

// A window's storage: GWLP_WNDPROC, GWLP_HINSTANCE, GWLP_ID, GWL_STYLE, GWL_EXSTYLE, GWLP_USERDATA,
// or a byte offset into the class's cbWndExtra bytes (pointer-sized slots). Set answers the old
// value; any thread may change any window. 0 with ERROR_INVALID_INDEX for an index outside these,
// ERROR_INVALID_WINDOW_HANDLE for a bad window.
QN_WIN32_API LONG_PTR WINAPI GetWindowLongPtrW(HWND hWnd, int nIndex);
QN_WIN32_API LONG_PTR WINAPI SetWindowLongPtrW(HWND hWnd, int nIndex, LONG_PTR dwNewLong);

// The keyboard focus of the calling thread: a window of its own or NULL. SetFocus sends
// WM_KILLFOCUS to the window losing it and WM_SETFOCUS to the one gaining it, and answers the
// previous focus; NULL with ERROR_INVALID_WINDOW_HANDLE for a bad window, ERROR_ACCESS_DENIED for a
// window of another thread.
QN_WIN32_API HWND WINAPI GetFocus(void);
QN_WIN32_API HWND WINAPI SetFocus(HWND hWnd);
// The child of hDlg whose identifier is nIDDlgItem; NULL with ERROR_CONTROL_ID_NOT_FOUND when there
// is none, ERROR_INVALID_WINDOW_HANDLE for a bad hDlg.
QN_WIN32_API HWND WINAPI GetDlgItem(HWND hDlg, int nIDDlgItem);

// Appends a message to the queue of the window's thread (hWnd NULL: the calling thread's, as a
// thread message). FALSE with ERROR_INVALID_WINDOW_HANDLE for a bad window, ERROR_MESSAGE_SYNC_ONLY
// for a message whose parameters point to data (WM_CREATE, WM_SETTEXT and the like).
QN_WIN32_API BOOL WINAPI PostMessageW(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam);
// FALSE with ERROR_INVALID_THREAD_ID when the thread has no queue yet or does not exist (for an
// identifier that no live thread has, Wine answers ERROR_INVALID_PARAMETER).
QN_WIN32_API BOOL WINAPI PostThreadMessageW(DWORD idThread, UINT Msg, WPARAM wParam, LPARAM lParam);
// The procedure's answer; see the head of this file for other threads' windows. 0 with
// ERROR_INVALID_WINDOW_HANDLE for a bad window, 0 when the receiving thread ends before answering.
QN_WIN32_API LRESULT WINAPI SendMessageW(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam);
// Asks the queue to answer WM_QUIT (wParam nExitCode) once no posted message is left. A flag, not
// a posted message: it wakes waits on QS_POSTMESSAGE and is seen after every posted message.
QN_WIN32_API void WINAPI PostQuitMessage(int nExitCode);

// Delivers the messages sent to the calling thread (all of them, whatever the filters), then
// looks for a posted message: hWnd NULL for all of the thread's messages, (HWND)-1 for thread
// messages only, otherwise that window and its descendants; wMsgFilterMin..Max for a range (0, 0:
// all; min > max: nothing, as Wine answers). wRemoveMsg: PM_REMOVE or PM_NOREMOVE, with PM_QS_
// bits to limit the kinds serviced. WM_QUIT comes when no posted message matches, whatever the
// filters. FALSE when nothing was found; also with ERROR_INVALID_WINDOW_HANDLE for a bad hWnd.
QN_WIN32_API BOOL WINAPI PeekMessageW(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax,
                                      UINT wRemoveMsg);
// Waits for a message as PeekMessageW(PM_REMOVE) finds it, delivering sent messages meanwhile.
// Answers 0 for WM_QUIT, -1 with ERROR_INVALID_WINDOW_HANDLE for a bad hWnd, non-zero otherwise.
QN_WIN32_API BOOL WINAPI GetMessageW(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax);
// For WM_KEYDOWN and WM_SYSKEYDOWN of a key that types a character (letters as lower case, digits,
// space, tab, return, escape, backspace: there is no keyboard state, so no shift), posts WM_CHAR
// or WM_SYSCHAR to the same window. Non-zero for the four key messages, 0 for any other.
QN_WIN32_API BOOL WINAPI TranslateMessage(const MSG *lpMsg);
// Calls the procedure of lpMsg->hwnd and answers its result; 0 for thread messages (hwnd NULL)
// and, with ERROR_INVALID_WINDOW_HANDLE, for a bad window.
QN_WIN32_API LRESULT WINAPI DispatchMessageW(const MSG *lpMsg);
// The keyboard interface of a dialog. As on Windows, any window can be hDlg: there is no test of
// its class. 0 when lpMsg is not for hDlg or one of its descendants (thread messages included).
// Otherwise, for WM_KEYDOWN the control the message is for is asked WM_GETDLGCODE; unless it
// answers DLGC_WANTTAB (for Tab) or DLGC_WANTMESSAGE: VK_TAB moves the focus to the next WS_TABSTOP,
// visible and enabled child of hDlg (0, message left alone, when there is none), VK_RETURN sends
// hDlg WM_COMMAND of its default button (DM_GETDEFID with DC_HASDEFID) or IDOK, VK_ESCAPE
// WM_COMMAND of IDCANCEL (lParam: the child with that identifier, if any). Every other message of
// hDlg's family is translated and dispatched here, and the answer is non-zero: the caller must not
// dispatch it again. (A small part of Windows' dialog manager: no mnemonics, no arrow-key groups,
// no shift-tab.)
QN_WIN32_API BOOL WINAPI IsDialogMessageW(HWND hDlg, LPMSG lpMsg);

// HIWORD: the kinds of input (QS_) in the calling thread's queue; LOWORD: the kinds that arrived
// since the last GetQueueStatus, Peek or Get. Clears the second set.
QN_WIN32_API DWORD WINAPI GetQueueStatus(UINT flags);
// Waits for the objects or for input of the kinds in dwWakeMask that arrived in the calling
// thread's queue since it last looked (Peek, Get, GetQueueStatus or a wait that input satisfied):
// WAIT_OBJECT_0 + nCount for such input, otherwise as WaitForMultipleObjects. nCount may be 0.
// Sent messages are reported (QS_SENDMESSAGE), not delivered.
QN_WIN32_API DWORD WINAPI MsgWaitForMultipleObjects(DWORD nCount, const HANDLE *pHandles, BOOL fWaitAll,
                                                    DWORD dwMilliseconds, DWORD dwWakeMask);
// dwFlags: MWMO_WAITALL (all objects and input), MWMO_INPUTAVAILABLE (input already seen counts
// too); MWMO_ALERTABLE is accepted and changes nothing, as the subset has no APCs.
QN_WIN32_API DWORD WINAPI MsgWaitForMultipleObjectsEx(DWORD nCount, const HANDLE *pHandles,
                                                      DWORD dwMilliseconds, DWORD dwWakeMask, DWORD dwFlags);
