// The registry directory of the test program in the subset: a fresh temporary directory that
// QNUTIL_REGISTRY_DIR names before any registry call, so that no test reads or writes a user's
// hives. Removed with its files when the program ends. On Windows the tests use the system's
// registry and this is not used.
#pragma once

#include <string>

namespace qntest {

#ifndef _WIN32
// The directory's POSIX path.
const std::string &RegistryDir();
#endif

}  // namespace qntest
