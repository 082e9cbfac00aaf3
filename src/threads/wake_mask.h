// The wake mask of the library's message-servicing waits (FStop, the message loop).
#pragma once

#include "qnutil/win32.h"

namespace qn_threads {

// Every kind of input that the classic queue status reports (0xFF): the waits wake for any message.
constexpr DWORD kWakeOnAnyInput = QS_KEY | QS_MOUSEMOVE | QS_MOUSEBUTTON | QS_POSTMESSAGE | QS_TIMER |
                                  QS_PAINT | QS_SENDMESSAGE | QS_HOTKEY;
static_assert(kWakeOnAnyInput == 0xFF, "the wake mask covers the eight classic input kinds");

}  // namespace qn_threads
