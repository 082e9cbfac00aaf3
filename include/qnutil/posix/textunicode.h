// IsTextUnicode in the subset: whether a buffer looks like UTF-16LE text, by the same tests and
// with the same answers that the reference implementation (Wine) gives on the library's corpus of
// samples (tests/platform/test_textunicode.cpp).
//
// What is checked. A buffer of fewer than 2 bytes fails every test. Otherwise:
// - ODD_LENGTH: the byte count is odd.
// - One terminator at the end is left out of the rest: two zero bytes when the count is even,
//   else one zero byte. The remaining bytes are read as little-endian 16-bit characters (an odd
//   byte left over takes part only in NULL_BYTES).
// - SIGNATURE: the first character is U+FEFF; REVERSE_SIGNATURE: it is U+FFFE.
// - CONTROLS: some character is U+0000, tab, line feed, carriage return, space or U+3000;
//   REVERSE_CONTROLS: some character is one of the first five byte-swapped (0x0000, 0x0900,
//   0x0A00, 0x0D00, 0x2000).
// - STATISTICS: more than half of the characters have a zero high byte (ASCII as UTF-16).
// - NULL_BYTES: some byte is zero.
// The answer: *lpiResult (when given) says which tests to apply and receives those that matched.
// The function answers FALSE when a matched test says "reversed" or "not Unicode" (the masks
// IS_TEXT_UNICODE_REVERSE_MASK and IS_TEXT_UNICODE_NOT_UNICODE_MASK), otherwise TRUE when one
// says "Unicode" or "not ASCII" (IS_TEXT_UNICODE_UNICODE_MASK, IS_TEXT_UNICODE_NOT_ASCII_MASK),
// otherwise FALSE. A null lpiResult applies every test.
//
// Limits: it is a guess, not a validation. ANSI or UTF-8 text without zero bytes is "not
// Unicode"; any buffer with a zero byte before its end (binary data, ANSI text with a NUL) is
// "Unicode" unless a reversed or odd-length test matches; UTF-16 text in scripts whose characters
// all have a non-zero high byte (CJK, Cyrillic without spaces) is missed unless it starts with a
// byte-order mark or holds a space or line break. ASCII16, REVERSE_ASCII16, REVERSE_STATISTICS,
// ILLEGAL_CHARS and DBCS_LEADBYTE are never reported (Wine does not report them either), and
// surrogates are not checked for pairing.
#pragma once

#include "qnutil/posix/windef.h"

#define IS_TEXT_UNICODE_ASCII16 0x0001
#define IS_TEXT_UNICODE_REVERSE_ASCII16 0x0010
#define IS_TEXT_UNICODE_STATISTICS 0x0002
#define IS_TEXT_UNICODE_REVERSE_STATISTICS 0x0020
#define IS_TEXT_UNICODE_CONTROLS 0x0004
#define IS_TEXT_UNICODE_REVERSE_CONTROLS 0x0040
#define IS_TEXT_UNICODE_SIGNATURE 0x0008
#define IS_TEXT_UNICODE_REVERSE_SIGNATURE 0x0080
#define IS_TEXT_UNICODE_ILLEGAL_CHARS 0x0100
#define IS_TEXT_UNICODE_ODD_LENGTH 0x0200
#define IS_TEXT_UNICODE_DBCS_LEADBYTE 0x0400
#define IS_TEXT_UNICODE_NULL_BYTES 0x1000
#define IS_TEXT_UNICODE_UNICODE_MASK 0x000F
#define IS_TEXT_UNICODE_REVERSE_MASK 0x00F0
#define IS_TEXT_UNICODE_NOT_UNICODE_MASK 0x0F00
#define IS_TEXT_UNICODE_NOT_ASCII_MASK 0xF000

// Reads iSize bytes of lpv; see above. Never fails otherwise; a negative size is taken as 0.
QN_WIN32_API BOOL WINAPI IsTextUnicode(const void *lpv, int iSize, LPINT lpiResult);
