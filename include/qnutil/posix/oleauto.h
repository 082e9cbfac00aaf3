// Automation's services (BSTR, SAFEARRAY, VARIANT) as the subset provides them.
#pragma once

#include "qnutil/posix/oaidl.h"
