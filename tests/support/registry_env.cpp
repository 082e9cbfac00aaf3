// Points QNUTIL_REGISTRY_DIR at a directory of the test program's own, at static initialisation,
// before any test (or any static object of one) can reach the registry.
#include "support/registry_env.h"

#ifndef _WIN32
#include <dirent.h>
#include <stdlib.h>
#include <unistd.h>

namespace qntest {
namespace {

struct RegistryEnvironment {
  std::string dir;
  pid_t owner;
  RegistryEnvironment() : owner(getpid()) {
    const char *tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/qnutil_registry_XXXXXX";
    if (mkdtemp(&pattern[0]) != nullptr) dir = pattern;
    setenv("QNUTIL_REGISTRY_DIR", dir.c_str(), 1);
  }
  // Removed by the process that made it; forked children leave it alone.
  ~RegistryEnvironment() {
    if (dir.empty() || getpid() != owner) return;
    if (DIR *d = opendir(dir.c_str())) {
      while (dirent *entry = readdir(d)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") unlink((dir + "/" + name).c_str());
      }
      closedir(d);
    }
    rmdir(dir.c_str());
  }
};

RegistryEnvironment &Environment() {
  static RegistryEnvironment environment;
  return environment;
}

// Made at static initialisation, before main runs a test.
const bool kMade = (Environment(), true);

}  // namespace

const std::string &RegistryDir() { return Environment().dir; }

}  // namespace qntest
#endif
