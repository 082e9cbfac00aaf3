// The library's own printf-style formatter for UTF-16 text, the same on every platform (the C
// library's wide formatter has 32-bit characters on POSIX, so it cannot serve there).
//
// It depends on nothing but the C runtime: no qnutil header, no allocation. CString's formatting uses
// it, and the subset's FormatMessageW compiles this same source for its !printf-type! inserts.
//
// The conventions are those of the Windows runtime's wide formatter (_vsnwprintf of msvcrt) where
// they differ from standard C:
//   s, c      UTF-16 text and a UTF-16 code unit; S, C 8-bit text and an 8-bit character. h makes any
//             of the four 8-bit, l and w make them UTF-16 (so %lS is UTF-16 text); the last of h, l
//             and w given wins. 8-bit text is widened one byte to the code unit of the same value,
//             as the runtime's default ("C") locale does. A NULL text prints "(null)", cut by the
//             precision like any text.
//   sizes     h (and hh) short; l 32 bits (the Windows long); ll, I64 and j 64 bits; I, z and t
//             the pointer's size. A 64-bit size given anywhere wins over the others (so on 64-bit
//             builds I, z and t do); otherwise h and l decide, the later one winning, and I32, and
//             I, z and t on 32-bit builds, leave that as it is (%hI32d is short). I, z and t count
//             as sizes only before d i o u x X (I also before 32 or 64); elsewhere they are the
//             conversion. L, F, N and w change no size: L with e f g reads a double, since the
//             runtime's long double is a double.
//   e E       at least three exponent digits: 1.500000e+000.
//   rounding  floating-point values are converted exactly (all the digits of the binary value) and
//             rounded half away from zero: %.0f of 0.5 is "1", %.1f of 0.25 is "0.3".
//   infinity  and NaN print as the runtime does: 1.#INF00, -1.#INF00, 1.#QNAN0 for a NaN with the
//             sign clear, -1.#IND00 for one with the sign set; e adds e+000, g drops trailing zeros,
//             a smaller precision rounds the text itself (%.2f of an infinity is 1.#J); # is ignored,
//             and so is a g precision of 0.
//   a A       hexadecimal floating point with 13 digits by default, the leading digit 0 for zero and
//             subnormal values (exponent -1022), rounding that may carry into it (0x2.00p+0).
//   p         the pointer in upper-case hexadecimal with all its digits: 8 on 32-bit builds, 16 on
//             64-bit ones; the precision and the 0 flag are ignored, # prefixes 0X (not to NULL).
//   o x X     # adds no prefix to zero (%#x of 0 is "0", %#.0o of 0 is empty).
//   0 flag    pads with zeros also when a precision is given (%05.3d of -5 is "-0005") and for text
//             and characters (%05s of "ab" is "000ab"); '-' wins over it.
//   c         a precision of 0 prints nothing.
//   n         stores the count of code units so far (the whole text's count, also when the output
//             was cut) in an int, a short (h) or a 64-bit integer (ll, I64, j; I, z and t on 64-bit
//             builds); a NULL pointer is skipped.
//   %         "%%" prints one %; a % conversion after flags, width, precision or size prints nothing.
//   other     an unknown conversion character prints itself, without padding, and takes no argument;
//             a format that ends inside a conversion ends there.
//   Z         a counted string (Length in bytes, MaximumLength, Buffer): UNICODE_STRING, whose
//             Length / 2 code units print as s prints text, or ANSI_STRING with h, whose Length
//             bytes print as hs does; a NULL structure or buffer prints "(null)".
//
// A '*' width or precision is read from the arguments as an int; a negative width means '-' and its
// magnitude, a negative precision means none.
#pragma once

#include <stdarg.h>
#include <stddef.h>

namespace qn {
namespace format {

// Formats into out, writing at most capacity code units including the terminator (nothing at all
// when capacity is 0; out may then be NULL). Answers the number of code units the whole text needs,
// the terminator not counted, whatever the capacity: an answer of capacity or more means the text
// was cut, and formatting again into an answer + 1 buffer gives all of it. The text may hold zero
// code units where %c or %C printed one. args is not changed (the caller's va_list stays at its
// first argument); a second pass needs no va_copy.
size_t FormatW(unsigned short *out, size_t capacity, const unsigned short *format, va_list args);

// One conversion for a message formatter's typed insert: cchSpec code units of a conversion with or
// without its leading '%' ("5.2d", "#x", "%-*s"; no terminator needed), formatted as the format
// "%" + the conversion would be. Its arguments (the '*' values, then the value) are taken from *args, which
// is left just after them. The output and the answer are as for FormatW. On x86-64 POSIX a va_list
// received as a parameter must be va_copy'd into a local before its address is taken.
size_t FormatSpecW(unsigned short *out, size_t capacity, const unsigned short *spec, size_t cchSpec,
                   va_list *args);

// CString's length estimate: a running total of 1 per plain code unit and per "%%", 2 per '#' flag,
// and per conversion
//   c C              2, then cut to the precision and raised to the width
//   s S Z            6 for a NULL text, else its length but at least 1, then cut and raised so
//   d i o u x X p    the larger of 32 and width + precision
//   e E f g G a A    the larger of 128 and width + precision
//   n, %, any other  0
// where a missing precision counts 0 and a given precision of 0 still cuts (a text is never read
// past what prints). Specifications are read with FormatW's own grammar (flags, one width, a
// precision, sizes), so every argument is read exactly as FormatW reads it: 64 bits for ll, I64 and
// j, pointer-sized for I, z and t, a counted string for Z. covers tells whether the total is known
// to hold the text: false when some conversion may print more than its item (a %f of a value
// beyond about 1e118, an integer precision above 30 with little width, an unknown conversion
// character, which prints itself). args is not changed.
struct Estimate {
  size_t total;
  bool covers;
};
Estimate EstimateW(const unsigned short *format, va_list args);

}  // namespace format
}  // namespace qn
