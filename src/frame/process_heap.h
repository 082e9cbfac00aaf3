// The process heap handle that the library allocates from: written once by the library's static
// initialiser, before its module entry runs and before any other thread can call in.
#pragma once

#include "qnutil/win32.h"

namespace qn_frame {

extern HANDLE g_hProcessHeap;

}  // namespace qn_frame
