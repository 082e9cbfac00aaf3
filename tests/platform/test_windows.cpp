// Conformance: window classes and windows. Creation and destruction messages, the default
// procedure, window storage, dispatching, key translation, the focus and the keyboard interface of
// dialogs. Under Wine without a display only message-only windows exist, so the tests of child,
// owned and ordinary top-level windows run natively only.
#include <thread>

#include "platform/window_helpers.h"

namespace {

using qntest::DrainQueue;
using qntest::ErrorOf;
using qntest::MakeMsg;
using qntest::Recorder;
using qntest::TestWindow;

HINSTANCE Self() { return GetModuleHandleW(nullptr); }

LRESULT CALLBACK PlainProc(HWND h, UINT m, WPARAM w, LPARAM l) { return DefWindowProcW(h, m, w, l); }

TEST(WindowClasses, RegistrationIsPerModuleAndName) {
  WNDCLASSW wc{};
  wc.lpfnWndProc = PlainProc;
  wc.hInstance = Self();
  wc.lpszClassName = qn::AsW(u"qnutil-class-test");
  const ATOM atom = RegisterClassW(&wc);
  ASSERT_NE(atom, 0);
  const struct {
    const char16_t *name;
    HINSTANCE instance;
    bool registers;
  } cases[] = {
      {u"qnutil-class-test", Self(), false},
      {u"QNUTIL-CLASS-TEST", Self(), false},  // names ignore case
      {u"qnutil-class-test", nullptr, false},  // NULL is the main program
      {u"qnutil-class-test", reinterpret_cast<HINSTANCE>(0x10000), true},
  };
  for (const auto &c : cases) {
    WNDCLASSW again = wc;
    again.lpszClassName = qn::AsW(c.name);
    again.hInstance = c.instance;
    SetLastError(0);
    const ATOM second = RegisterClassW(&again);
    EXPECT_EQ(second != 0, c.registers);
    if (second) {
      EXPECT_EQ(second, atom) << "one atom per name";
      EXPECT_TRUE(UnregisterClassW(again.lpszClassName, c.instance));
    } else {
      EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_CLASS_ALREADY_EXISTS));
    }
  }

  HWND window = CreateWindowExW(0, reinterpret_cast<LPCWSTR>(static_cast<ULONG_PTR>(atom)), nullptr, 0, 0, 0, 0,
                                0, HWND_MESSAGE, nullptr, nullptr, nullptr);
  ASSERT_NE(window, nullptr) << "a class by its atom, error " << GetLastError();
  EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(UnregisterClassW(wc.lpszClassName, Self())); }),
            static_cast<DWORD>(ERROR_CLASS_HAS_WINDOWS));
  EXPECT_TRUE(DestroyWindow(window));
  EXPECT_TRUE(UnregisterClassW(wc.lpszClassName, Self()));
  EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(UnregisterClassW(wc.lpszClassName, Self())); }),
            static_cast<DWORD>(ERROR_CLASS_DOES_NOT_EXIST));
  // Windows answers ERROR_CANNOT_FIND_WND_CLASS, Wine ERROR_CLASS_DOES_NOT_EXIST.
  EXPECT_EQ(CreateWindowExW(0, wc.lpszClassName, nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr),
            nullptr);
}

TEST(Windows, CreationFailsOnTheProceduresAnswer) {
  const struct {
    LRESULT ncCreate, create;
    std::vector<UINT> seen;
  } cases[] = {
      {FALSE, 0, {WM_NCCREATE, WM_NCDESTROY}},
      {TRUE, -1, {WM_NCCREATE, WM_CREATE, WM_NCDESTROY}},  // no WM_DESTROY, as Windows does
  };
  for (const auto &c : cases) {
    Recorder recorder;
    recorder.ncCreate = c.ncCreate;
    recorder.create = c.create;
    TestWindow window(recorder);
    EXPECT_EQ(static_cast<HWND>(window), nullptr);
    EXPECT_EQ(recorder.Of({WM_NCCREATE, WM_CREATE, WM_DESTROY, WM_NCDESTROY}), c.seen);
    EXPECT_FALSE(IsWindow(recorder.Last(WM_NCCREATE).hwnd));
  }
  Recorder recorder;
  EXPECT_EQ(ErrorOf([&] { EXPECT_EQ(static_cast<HWND>(TestWindow(recorder, nullptr, WS_CHILD)), nullptr); }),
            static_cast<DWORD>(ERROR_TLW_WITH_WSCHILD))
      << "a child window needs a parent";
}

TEST(Windows, CreationAndDestructionMessages) {
  Recorder recorder;
  HWND gone;
  {
    TestWindow window(recorder);
    gone = window;
    EXPECT_TRUE(IsWindow(window));
    EXPECT_EQ(GetWindowThreadProcessId(window, nullptr), GetCurrentThreadId());
  }
  const std::vector<UINT> lifetime = {WM_NCCREATE, WM_CREATE, WM_DESTROY, WM_NCDESTROY};
  EXPECT_EQ(recorder.Of({WM_NCCREATE, WM_CREATE, WM_DESTROY, WM_NCDESTROY}), lifetime);
  EXPECT_FALSE(IsWindow(gone));
  // Windows answers ERROR_INVALID_WINDOW_HANDLE, Wine ERROR_ACCESS_DENIED.
  EXPECT_FALSE(DestroyWindow(gone));

  // WM_CLOSE's default is to destroy the window.
  TestWindow closing(recorder);
  recorder.Clear();
  EXPECT_EQ(SendMessageW(closing, WM_CLOSE, 0, 0), 0);
  EXPECT_FALSE(IsWindow(closing));
  EXPECT_EQ(recorder.Of({WM_CLOSE, WM_DESTROY, WM_NCDESTROY}), (std::vector<UINT>{WM_CLOSE, WM_DESTROY, WM_NCDESTROY}));
}

TEST(WindowsConcurrent, OnlyTheOwningThreadDestroys) {
  Recorder recorder;
  TestWindow window(recorder);
  BOOL destroyed = TRUE;
  DWORD error = 0;
  std::thread other([&] {
    destroyed = DestroyWindow(window);
    error = GetLastError();
  });
  other.join();
  EXPECT_FALSE(destroyed);
  EXPECT_EQ(error, static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_TRUE(IsWindow(window));
}

TEST(Windows, Storage) {
  Recorder recorder;
  TestWindow window(recorder);
  // The test procedure keeps lpCreateParams there at WM_NCCREATE.
  EXPECT_EQ(GetWindowLongPtrW(window, GWLP_USERDATA), reinterpret_cast<LONG_PTR>(&recorder));
  // The class's extra bytes: two pointer-sized slots.
  EXPECT_EQ(SetWindowLongPtrW(window, sizeof(LONG_PTR), 77), 0);
  EXPECT_EQ(SetWindowLongPtrW(window, sizeof(LONG_PTR), 78), 77);
  EXPECT_EQ(GetWindowLongPtrW(window, sizeof(LONG_PTR)), 78);
  for (int bad : {static_cast<int>(2 * sizeof(LONG_PTR)), 1000, -1000}) {
    EXPECT_EQ(ErrorOf([&] { EXPECT_EQ(GetWindowLongPtrW(window, bad), 0); }), static_cast<DWORD>(ERROR_INVALID_INDEX))
        << bad;
  }
}

TEST(Windows, DispatchCallsTheProcedure) {
  Recorder recorder;
  TestWindow window(recorder);
  MSG msg = MakeMsg(window, WM_USER + 5, 3);
  EXPECT_EQ(DispatchMessageW(&msg), 1005);
  EXPECT_EQ(recorder.Last(WM_USER + 5).wParam, 3u);
  msg.hwnd = nullptr;
  EXPECT_EQ(DispatchMessageW(&msg), 0) << "a thread message goes to no procedure";
  HWND gone;
  {
    TestWindow temporary(recorder);
    gone = temporary;
  }
  msg.hwnd = gone;
  EXPECT_EQ(ErrorOf([&] { EXPECT_EQ(DispatchMessageW(&msg), 0); }), static_cast<DWORD>(ERROR_INVALID_WINDOW_HANDLE));
}

TEST(Windows, TranslatePostsTheTypedCharacter) {
  Recorder recorder;
  TestWindow window(recorder);
  DrainQueue();
  const struct {
    UINT message;
    WPARAM key;
    BOOL answer;
    UINT posted;  // 0: nothing
    WPARAM character;
  } cases[] = {
      {WM_KEYDOWN, 'A', TRUE, WM_CHAR, 'a'},         {WM_KEYDOWN, '7', TRUE, WM_CHAR, '7'},
      {WM_KEYDOWN, VK_RETURN, TRUE, WM_CHAR, '\r'},  {WM_SYSKEYDOWN, VK_RETURN, TRUE, WM_SYSCHAR, '\r'},
      {WM_KEYDOWN, VK_LEFT, TRUE, 0, 0},             {WM_KEYUP, 'A', TRUE, 0, 0},
      {WM_USER, 'A', FALSE, 0, 0},
  };
  for (const auto &c : cases) {
    const MSG key = MakeMsg(window, c.message, c.key, 0x001E0001);
    EXPECT_EQ(TranslateMessage(&key), c.answer) << std::hex << c.message << ' ' << c.key;
    MSG msg{};
    const BOOL posted = PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE);
    EXPECT_EQ(posted != FALSE, c.posted != 0) << std::hex << c.message << ' ' << c.key;
    if (!posted) continue;
    EXPECT_EQ(msg.hwnd, static_cast<HWND>(window));
    EXPECT_EQ(msg.message, c.posted);
    EXPECT_EQ(msg.wParam, c.character);
    EXPECT_EQ(msg.lParam, key.lParam);
  }
}

TEST(Windows, FocusMovesWithItsMessages) {
  Recorder recorder;
  TestWindow a(recorder), b(recorder);
  SetFocus(nullptr);
  SetFocus(a);
  EXPECT_EQ(GetFocus(), static_cast<HWND>(a));
  recorder.Clear();
  SetFocus(b);
  EXPECT_EQ(GetFocus(), static_cast<HWND>(b));
  EXPECT_EQ(recorder.Last(WM_KILLFOCUS).hwnd, static_cast<HWND>(a));
  EXPECT_EQ(recorder.Last(WM_KILLFOCUS).wParam, reinterpret_cast<WPARAM>(static_cast<HWND>(b)));
  EXPECT_EQ(recorder.Last(WM_SETFOCUS).hwnd, static_cast<HWND>(b));
  EXPECT_EQ(recorder.Last(WM_SETFOCUS).wParam, reinterpret_cast<WPARAM>(static_cast<HWND>(a)));
  EXPECT_EQ(SetFocus(nullptr), static_cast<HWND>(b));
  EXPECT_EQ(GetFocus(), nullptr);

  SetFocus(a);
  recorder.Clear();
  DestroyWindow(a);
  EXPECT_EQ(GetFocus(), nullptr) << "a destroyed window loses the focus";
  EXPECT_EQ(recorder.Of({WM_KILLFOCUS, WM_DESTROY}), (std::vector<UINT>{WM_KILLFOCUS, WM_DESTROY}));
}

// Any window is a dialog to IsDialogMessageW: its navigation keys become commands, everything
// else of it is translated and dispatched there; messages of other windows are left alone.
TEST(Windows, DialogKeysOfAWindowWithoutControls) {
  Recorder recorder;
  TestWindow dialog(recorder), other(recorder);
  const struct {
    UINT message;
    WPARAM key;
    LRESULT dlgCode, defId;
    BOOL answer;
    std::vector<UINT> seen;
    WPARAM command;  // of the WM_COMMAND sent, if any
  } cases[] = {
      {WM_KEYDOWN, VK_RETURN, 0, 0, TRUE, {WM_GETDLGCODE, DM_GETDEFID, WM_COMMAND}, IDOK},
      {WM_KEYDOWN, VK_RETURN, 0, MAKELONG(5, DC_HASDEFID), TRUE, {WM_GETDLGCODE, DM_GETDEFID, WM_COMMAND}, 5},
      {WM_KEYDOWN, VK_RETURN, DLGC_WANTMESSAGE, 0, TRUE, {WM_GETDLGCODE, WM_KEYDOWN}, 0},
      {WM_KEYDOWN, VK_ESCAPE, 0, 0, TRUE, {WM_GETDLGCODE, WM_COMMAND}, IDCANCEL},
      {WM_KEYDOWN, VK_TAB, DLGC_WANTTAB, 0, TRUE, {WM_GETDLGCODE, WM_KEYDOWN}, 0},
      {WM_KEYDOWN, VK_TAB, 0, 0, FALSE, {WM_GETDLGCODE}, 0},  // no control to move to
      {WM_KEYUP, VK_RETURN, 0, 0, TRUE, {WM_KEYUP}, 0},
      {WM_USER + 9, 0, 0, 0, TRUE, {WM_USER + 9}, 0},
  };
  for (const auto &c : cases) {
    recorder.Clear();
    recorder.dlgCode = c.dlgCode;
    recorder.defId = c.defId;
    MSG msg = MakeMsg(dialog, c.message, c.key);
    EXPECT_EQ(IsDialogMessageW(dialog, &msg), c.answer) << std::hex << c.message << ' ' << c.key;
    EXPECT_EQ(recorder.Of({WM_GETDLGCODE, DM_GETDEFID, WM_COMMAND, WM_KEYDOWN, WM_KEYUP, WM_USER + 9}), c.seen)
        << std::hex << c.message << ' ' << c.key;
    if (c.command) {
      EXPECT_EQ(recorder.Last(WM_COMMAND).wParam, c.command);
    }
    DrainQueue();
  }
  recorder.Clear();
  MSG msg = MakeMsg(other, WM_KEYDOWN, VK_ESCAPE);
  EXPECT_FALSE(IsDialogMessageW(dialog, &msg));
  msg.hwnd = nullptr;
  EXPECT_FALSE(IsDialogMessageW(dialog, &msg));
  EXPECT_TRUE(recorder.seen.empty());
}

#if !defined(_WIN32)
// Wine needs a display for these.

TEST(WindowTree, DestructionOrderOfChildrenAndOwnedWindows) {
  Recorder recorder;
  TestWindow parent(recorder, nullptr, WS_OVERLAPPEDWINDOW);
  ASSERT_NE(static_cast<HWND>(parent), nullptr);
  TestWindow child(recorder, parent, WS_CHILD, 11), grandchild(recorder, child, WS_CHILD, 12);
  TestWindow owned(recorder, parent, WS_POPUP);
  EXPECT_TRUE(IsChild(parent, grandchild));
  EXPECT_FALSE(IsChild(parent, owned));
  EXPECT_EQ(GetDlgItem(parent, 11), static_cast<HWND>(child));
  // Only direct children.
  EXPECT_EQ(ErrorOf([&] { EXPECT_EQ(GetDlgItem(parent, 12), nullptr); }), static_cast<DWORD>(ERROR_CONTROL_ID_NOT_FOUND));

  // A window filter takes the window's descendants too.
  DrainQueue();
  PostMessageW(grandchild, WM_USER, 0, 0);
  MSG msg{};
  EXPECT_TRUE(PeekMessageW(&msg, parent, 0, 0, PM_REMOVE));
  EXPECT_EQ(msg.hwnd, static_cast<HWND>(grandchild));

  recorder.Clear();
  EXPECT_TRUE(DestroyWindow(parent));
  std::vector<std::pair<HWND, UINT>> order;
  for (const qntest::Seen &s : recorder.seen) {
    if (s.message == WM_DESTROY || s.message == WM_NCDESTROY) order.emplace_back(s.hwnd, s.message);
  }
  const std::vector<std::pair<HWND, UINT>> expected = {
      {owned, WM_DESTROY},       {owned, WM_NCDESTROY},      {parent, WM_DESTROY},   {child, WM_DESTROY},
      {grandchild, WM_DESTROY}, {grandchild, WM_NCDESTROY}, {child, WM_NCDESTROY}, {parent, WM_NCDESTROY},
  };
  EXPECT_EQ(order, expected);
  for (HWND w : {static_cast<HWND>(child), static_cast<HWND>(grandchild), static_cast<HWND>(owned)}) {
    EXPECT_FALSE(IsWindow(w));
  }

}

TEST(WindowTree, TabMovesTheFocusAmongTheDialogsControls) {
  Recorder recorder;
  TestWindow dialog(recorder);
  const DWORD control = WS_CHILD | WS_VISIBLE;
  TestWindow first(recorder, dialog, control | WS_TABSTOP, 1), skipped(recorder, dialog, control, 3),
      second(recorder, dialog, control | WS_TABSTOP, 2);
  SetFocus(first);
  MSG tab = MakeMsg(nullptr, WM_KEYDOWN, VK_TAB);
  for (HWND expected : {static_cast<HWND>(second), static_cast<HWND>(first)}) {
    tab.hwnd = GetFocus();
    EXPECT_TRUE(IsDialogMessageW(dialog, &tab));
    EXPECT_EQ(GetFocus(), expected);
  }
  // Return clicks the default button, named in the command.
  recorder.Clear();
  MSG enter = tab;
  enter.wParam = VK_RETURN;
  EXPECT_TRUE(IsDialogMessageW(dialog, &enter));
  EXPECT_EQ(recorder.Last(WM_COMMAND).hwnd, static_cast<HWND>(dialog));
  EXPECT_EQ(recorder.Last(WM_COMMAND).lParam, reinterpret_cast<LPARAM>(static_cast<HWND>(first)));
}

#endif

}  // namespace
