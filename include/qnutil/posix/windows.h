// The Win32 subset on POSIX: every service qnutil and its applications need, by Windows' names.
#pragma once

#include "qnutil/posix/windef.h"
#include "qnutil/posix/winerror.h"
#include "qnutil/posix/guiddef.h"
#include "qnutil/posix/excpt.h"
#include "qnutil/posix/memory.h"
#include "qnutil/posix/sync.h"
#include "qnutil/posix/threads.h"
#include "qnutil/posix/module.h"
#include "qnutil/posix/text.h"
#include "qnutil/posix/chars.h"
#include "qnutil/posix/gdi.h"
#include "qnutil/posix/files.h"
#include "qnutil/posix/resources.h"
#include "qnutil/posix/formatmessage.h"
#include "qnutil/posix/winuser.h"
