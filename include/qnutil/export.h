// The one export macro of qnutil. Everything not marked with it is hidden: the shared library is
// built with hidden visibility on ELF and exports only what is marked on PE.
#pragma once

#if defined(_WIN32)
#  if defined(QNUTIL_BUILDING)
#    define QNUTIL_API __declspec(dllexport)
#  else
#    define QNUTIL_API __declspec(dllimport)
#  endif
#else
#  define QNUTIL_API __attribute__((visibility("default")))
#endif
