// Everything an application of qnutil includes: the platform surface and every area of the library.
#pragma once

#include "qnutil/win32.h"

#include "qnutil/atlmodule.h"
#include "qnutil/cstring.h"
#include "qnutil/fixedstring.h"
#include "qnutil/frame.h"
#include "qnutil/handles.h"
#include "qnutil/msgloop.h"
#include "qnutil/paths.h"
#include "qnutil/text.h"
#include "qnutil/thread.h"
