// Automation's records and interfaces as the subset declares them.
#pragma once

#include "qnutil/posix/objidl.h"
