// The root interface identifiers and the task allocator.
#include <stdlib.h>

#include "qnutil/posix/windows.h"

extern "C" const IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
extern "C" const IID IID_ISequentialStream = {0x0C733A30, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};
extern "C" const IID IID_IStream = {0x0000000C, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// malloc's blocks are already safe to free from any thread, which is all the task allocator promises.
extern "C" LPVOID WINAPI CoTaskMemAlloc(SIZE_T cb) { return malloc(cb ? cb : 1); }
extern "C" LPVOID WINAPI CoTaskMemRealloc(LPVOID pv, SIZE_T cb) { return realloc(pv, cb ? cb : 1); }
extern "C" void WINAPI CoTaskMemFree(LPVOID pv) { free(pv); }
