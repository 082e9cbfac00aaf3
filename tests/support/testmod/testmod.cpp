// A module for the loader tests: something to load, look into and free. It holds no state and no
// C++ runtime objects, so that the loader may unload it when its last reference goes.
#if defined(_WIN32)
#  define QNUTIL_TESTMOD_API extern "C" __declspec(dllexport)
#else
#  define QNUTIL_TESTMOD_API extern "C" __attribute__((visibility("default")))
#endif

QNUTIL_TESTMOD_API int qnutil_testmod_answer(void) { return 42; }
