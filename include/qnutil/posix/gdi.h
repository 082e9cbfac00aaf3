// Device contexts of the subset: enough to measure text, with no drawing.
//
// A memory device context measures every code unit with the same advance: 8 pixels wide, 16 pixels
// high (the cell of a fixed-pitch system font), whatever the character, so that layout code that
// measures text gives the same answers on every machine. Windows measures with a real font: its
// widths differ per character, so only the shape of the answers is shared with it (0 for no
// characters, growing with the count, FALSE for a bad device context).
#pragma once

#include "qnutil/posix/windef.h"

typedef struct tagSIZE {
  LONG cx;
  LONG cy;
} SIZE, *PSIZE, *LPSIZE;

// The fixed cell of the subset's text measurement, in pixels.
#define QN_GDI_CHAR_WIDTH 8
#define QN_GDI_CHAR_HEIGHT 16

// A new memory device context; hdc is NULL or a live device context (NULL is answered otherwise).
QN_WIN32_API HDC WINAPI CreateCompatibleDC(HDC hdc);
// FALSE with ERROR_INVALID_HANDLE for NULL, a deleted or an unknown device context.
QN_WIN32_API BOOL WINAPI DeleteDC(HDC hdc);
// c code units: cx = 8 * c, cy = 16 (both 0 when c is 0; lpString may then be NULL). FALSE, with
// the last error left as it is (as Windows does), for a bad device context or a negative count.
QN_WIN32_API BOOL WINAPI GetTextExtentPoint32W(HDC hdc, LPCWSTR lpString, int c, LPSIZE psizl);
