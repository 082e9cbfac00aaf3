// The platform surface of qnutil: the system headers on Windows, the library's own Win32 subset
// elsewhere. Code written against it compiles unchanged on both.
#pragma once

#if defined(_WIN32)
#  ifndef NOMINMAX
#    define NOMINMAX
#  endif
#  include <windows.h>
#  include <ole2.h>
#  include <oleauto.h>
#  include <objidl.h>
#  include <ocidl.h>
#  include <process.h>
#else
#  include "qnutil/posix/windows.h"
#endif

#include "qnutil/utf16.h"
