// The registry as the subset provides it.
#pragma once

#include "qnutil/posix/windef.h"
