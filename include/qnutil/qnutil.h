// Everything an application of qnutil includes: the platform surface and every area of the library.
#pragma once

#include "qnutil/win32.h"

#include "qnutil/atlmodule.h"
#include "qnutil/buffers.h"
#include "qnutil/cstring.h"
#include "qnutil/filesys.h"
#include "qnutil/fixedstring.h"
#include "qnutil/frame.h"
#include "qnutil/handles.h"
#include "qnutil/lists.h"
#include "qnutil/memmap.h"
#include "qnutil/msgloop.h"
#include "qnutil/paths.h"
#include "qnutil/registry.h"
#include "qnutil/streams.h"
#include "qnutil/text.h"
#include "qnutil/thread.h"
#include "qnutil/typeinfo.h"
#include "qnutil/variant.h"
