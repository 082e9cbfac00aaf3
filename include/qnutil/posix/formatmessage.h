// The message formatter of the subset: FormatMessageW with Windows' insert syntax, results and
// errors, for messages given as text (FORMAT_MESSAGE_FROM_STRING) and for the subset's own error
// codes (FORMAT_MESSAGE_FROM_SYSTEM). Buffers of FORMAT_MESSAGE_ALLOCATE_BUFFER come from LocalAlloc
// and go back with LocalFree.
#pragma once

#include <stdarg.h>

#include "qnutil/posix/windef.h"

#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200
#define FORMAT_MESSAGE_FROM_STRING 0x00000400
#define FORMAT_MESSAGE_FROM_HMODULE 0x00000800
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000
#define FORMAT_MESSAGE_ARGUMENT_ARRAY 0x00002000
#define FORMAT_MESSAGE_MAX_WIDTH_MASK 0x000000FF

// Formats a message and answers its length in code units, the terminator not counted; 0 on
// failure, with the last error set. The source is lpSource as text when FORMAT_MESSAGE_FROM_STRING
// is given (whatever else is), otherwise the message dwMessageId of the subset's error texts.
//
// Inserts and escapes, in the message text:
//   %1 .. %99     argument n as UTF-16 text; %1!type! formats it with a printf type (d i u x X o
//                 c C s S p, flags, width, precision, * and .*, sizes h l w I I32 I64); at most
//                 30 code units between the marks; 8-bit text and characters (S, C, hs, hc)
//                 are widened through the ANSI code page, and a NULL text prints "(null)"
//   %0            ends the message here, without a line break
//   %n  %r  %t    CR LF, a lone CR, a tab
//   %x            any other character x stands for itself: %% %. %! and "% " (a space that is
//                 never a place to break a line)
//   a lone % at the end, a type without its closing mark: ERROR_INVALID_PARAMETER
// Line breaks written into the text (CR LF, LF or CR) come out as CR LF.
//
// Arguments: with FORMAT_MESSAGE_ARGUMENT_ARRAY, Arguments points at an array of DWORD_PTR and
// insert n is element n - 1; a * in its type takes the element as the width (or precision) and
// the next one as the value. Otherwise Arguments points at a va_list, read as Windows reads it:
// each argument is one pointer-sized value (an I64 type reads 64 bits for its own insert), fetched
// in order up to the highest insert used so far and kept, so that inserts may repeat and come in
// any order; an insert with * takes its first star as a plain insert would, any further star as
// the value after the last one kept (kept too), and its value afresh from the list, which then
// replaces the last value kept. A va_list can
// carry no count, so inserts beyond the arguments read past them as on Windows; a NULL Arguments
// with an insert in the text fails with ERROR_INVALID_PARAMETER.
//
// dwFlags & FORMAT_MESSAGE_MAX_WIDTH_MASK:
//   0             lines as written
//   1 .. 254      lines of at most that many code units: written line breaks become spaces, and a
//                 line that reaches the width breaks after it, at its last written space (the run
//                 of spaces there becomes CR LF) or else right there; inserts are never split
//   255           no breaks: written line breaks become spaces, %n still breaks
// FORMAT_MESSAGE_IGNORE_INSERTS: %1.. and the other escapes are copied as they are, except %0,
// %n, %r and %t.
//
// Results: FORMAT_MESSAGE_ALLOCATE_BUFFER stores a LocalAlloc block of at least nSize code units
// at *(LPWSTR *)lpBuffer (NULL on failure). Otherwise nSize counts the code units of lpBuffer,
// terminator included: a message that does not fit fails with ERROR_INSUFFICIENT_BUFFER, leaving
// the part that fits, terminated. An empty message fails with ERROR_NO_WORK_DONE. A message
// identifier the subset has no text for fails with ERROR_MR_MID_NOT_FOUND; FROM_HMODULE alone
// fails with ERROR_RESOURCE_DATA_NOT_FOUND, since POSIX modules carry no message tables.
//
// Limits: the texts of FORMAT_MESSAGE_FROM_SYSTEM are the subset's own wording (one sentence and
// CR LF, as Windows writes them), for the error codes of winerror.h only, in one language
// (dwLanguageId is not looked at). Floating-point types are not supported, as on Windows: such an
// insert writes its conversion letter. On x86-64 POSIX a va_list holds floating-point arguments
// apart from the others, so there they are not skipped in the order Windows skips them.
QN_WIN32_API DWORD WINAPI FormatMessageW(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD dwLanguageId,
                                         LPWSTR lpBuffer, DWORD nSize, va_list *Arguments);
