// The UTF-16 printf formatter and CString's length estimate (conventions in wformat.h).
//
// One parser reads every conversion, '*' arguments included, for the estimate and
// for the formatter alike, and one set of readers takes the arguments by size, so both passes always
// consume the same arguments in the same order. Output goes through a bounded writer that counts
// what it could not write, so the full length is known whatever the capacity. Floating-point digits
// come from an exact conversion of the binary value (a small big-integer in base 10^9), which gives
// the same text on every platform and C library.

#include "wformat.h"

#include <stdint.h>
#include <string.h>

namespace qn {
namespace format {
namespace {

typedef unsigned short Unit;

// ---- Output

class Writer {
 public:
  Writer(Unit *out, size_t capacity) : m_out(out), m_room(capacity > 0 ? capacity - 1 : 0), m_len(0), m_capacity(capacity) {}

  void Put(Unit u) {
    if (m_len < m_room) m_out[m_len] = u;
    ++m_len;
  }
  void Units(const Unit *src, size_t n) {
    if (m_len < m_room) memcpy(m_out + m_len, src, Fit(n) * sizeof(Unit));
    m_len += n;
  }
  void Ascii(const char *src, size_t n) {
    if (m_len < m_room) {
      Unit *dst = m_out + m_len;
      for (size_t i = 0, k = Fit(n); i < k; ++i) dst[i] = static_cast<unsigned char>(src[i]);
    }
    m_len += n;
  }
  void Repeat(Unit u, size_t n) {
    if (m_len < m_room) {
      Unit *dst = m_out + m_len;
      for (size_t i = 0, k = Fit(n); i < k; ++i) dst[i] = u;
    }
    m_len += n;
  }
  // The count so far, for %n.
  unsigned long long Count() const { return m_len; }
  // Writes the terminator; answers the whole length (saturated to what size_t holds).
  size_t Finish() {
    if (m_capacity > 0) m_out[m_len < m_room ? m_len : m_room] = 0;
    return m_len < static_cast<unsigned long long>(SIZE_MAX) ? static_cast<size_t>(m_len) : SIZE_MAX;
  }

 private:
  size_t Fit(size_t n) const {
    const unsigned long long left = m_room - m_len;
    return n < left ? n : static_cast<size_t>(left);
  }

  Unit *m_out;
  unsigned long long m_room;  // code units that may be written before the terminator
  unsigned long long m_len;   // code units the text needs so far; 64 bits so that it cannot wrap
  size_t m_capacity;
};

// ---- Arguments

class VaArgs {
 public:
  explicit VaArgs(va_list *ap) : m_ap(ap) {}
  int Int() { return va_arg(*m_ap, int); }
  long long Int64() { return va_arg(*m_ap, long long); }
  double Double() { return va_arg(*m_ap, double); }
  const void *Pointer() { return va_arg(*m_ap, const void *); }

 private:
  va_list *m_ap;
};

// ---- Conversions

enum : unsigned { kLeft = 1, kPlus = 2, kSpace = 4, kAlt = 8, kZero = 16 };
enum IntSize { kSizeInt, kSizeShort };
enum TextWidth { kTextDefault, kTextNarrow, kTextWide };

struct Spec {
  unsigned flags = 0;
  int hashes = 0;        // '#' flags given (the estimate counts each)
  size_t width = 0;
  int precision = -1;    // -1: none
  IntSize size = kSizeInt;
  bool size64 = false;   // ll, I64, j (and I, z, t on 64-bit builds): wins over every other size
  TextWidth text = kTextDefault;
  Unit conv = 0;         // 0: the format ended inside a conversion
};

bool IsIntConversion(Unit c) {
  return c == 'd' || c == 'i' || c == 'o' || c == 'u' || c == 'x' || c == 'X';
}

class Reader {
 public:
  Reader(const Unit *p, const Unit *end) : m_p(p), m_end(end) {}
  Unit Peek(size_t ahead = 0) const { return static_cast<size_t>(m_end - m_p) > ahead ? m_p[ahead] : 0; }
  void Skip(size_t n = 1) { m_p += n; }
  const Unit *Where() const { return m_p; }

  // A decimal number, saturated at INT_MAX.
  int Number() {
    long long v = 0;
    while (Peek() >= '0' && Peek() <= '9') {
      v = v * 10 + (Peek() - '0');
      if (v > 0x7FFFFFFF) v = 0x7FFFFFFF;
      Skip();
    }
    return static_cast<int>(v);
  }

 private:
  const Unit *m_p;
  const Unit *m_end;
};

// Reads a conversion after its '%', taking '*' values from args.
void ParseSpec(Reader &r, Spec &s, VaArgs &args) {
  for (;; r.Skip()) {
    const Unit c = r.Peek();
    if (c == '-') s.flags |= kLeft;
    else if (c == '+') s.flags |= kPlus;
    else if (c == ' ') s.flags |= kSpace;
    else if (c == '#') s.flags |= kAlt, ++s.hashes;
    else if (c == '0') s.flags |= kZero;
    else break;
  }
  if (r.Peek() == '*') {
    r.Skip();
    const int w = args.Int();
    if (w < 0) s.flags |= kLeft;
    s.width = w < 0 ? 0u - static_cast<unsigned>(w) : static_cast<unsigned>(w);
  } else {
    s.width = static_cast<size_t>(r.Number());
  }
  if (r.Peek() == '.') {
    r.Skip();
    if (r.Peek() == '*') {
      r.Skip();
      const int p = args.Int();
      s.precision = p < 0 ? -1 : p;
    } else {
      s.precision = r.Number();
    }
  }
  for (;;) {
    const Unit c = r.Peek();
    if (c == 'h') {
      s.size = kSizeShort, s.text = kTextNarrow;
      r.Skip(r.Peek(1) == 'h' ? 2 : 1);
    } else if (c == 'l') {
      if (r.Peek(1) == 'l') s.size64 = true, r.Skip();
      else s.size = kSizeInt;
      s.text = kTextWide;
      r.Skip();
    } else if (c == 'w') {
      s.text = kTextWide, r.Skip();
    } else if (c == 'L' || c == 'F' || c == 'N') {
      r.Skip();
    } else if (c == 'j') {
      s.size64 = true, r.Skip();
    } else if (c == 'I' && r.Peek(1) == '6' && r.Peek(2) == '4') {
      s.size64 = true, r.Skip(3);
    } else if (c == 'I' && r.Peek(1) == '3' && r.Peek(2) == '2') {
      r.Skip(3);  // the size an int has anyway; an h before it stays in force
    } else if ((c == 'I' || c == 'z' || c == 't') && IsIntConversion(r.Peek(1))) {
      if (sizeof(void *) == 8) s.size64 = true;  // on 32-bit builds the int size (or h) stands
      r.Skip();
    } else {
      break;
    }
  }
  s.conv = r.Peek();
  if (s.conv != 0) r.Skip();
}

// ---- Integer arguments

struct IntValue {
  unsigned long long magnitude;
  bool negative;
};

IntValue ReadInt(const Spec &s, VaArgs &args) {
  const bool isSigned = s.conv == 'd' || s.conv == 'i';
  long long v;
  if (s.size64) v = args.Int64();
  else if (s.size == kSizeShort) v = isSigned ? static_cast<short>(args.Int()) : static_cast<unsigned short>(args.Int());
  else v = isSigned ? args.Int() : static_cast<long long>(static_cast<unsigned>(args.Int()));
  IntValue iv;
  iv.negative = isSigned && v < 0;
  iv.magnitude = iv.negative ? 0ull - static_cast<unsigned long long>(v) : static_cast<unsigned long long>(v);
  return iv;
}

// A counted string (UNICODE_STRING, ANSI_STRING): Length and MaximumLength in bytes, then the buffer.
struct CountedString {
  unsigned short Length;
  unsigned short MaximumLength;
  const void *Buffer;
};

// The text of an s, S or Z argument: units or bytes, and how many of them the precision lets show.
struct TextArg {
  const void *data;  // NULL: the argument was NULL and "(null)" shows
  bool wide;
  size_t length;
};

bool IsWideText(const Spec &s) {
  if (s.text != kTextDefault) return s.text == kTextWide;
  return s.conv != 'S' && s.conv != 'C';
}

TextArg ReadText(const Spec &s, VaArgs &args) {
  TextArg t;
  t.wide = IsWideText(s);
  t.data = args.Pointer();
  const size_t limit = s.precision >= 0 ? static_cast<size_t>(s.precision) : SIZE_MAX;
  size_t n = 0;
  if (s.conv == 'Z') {
    const CountedString *cs = static_cast<const CountedString *>(t.data);
    t.data = cs != NULL ? cs->Buffer : NULL;
    if (t.data != NULL) n = t.wide ? cs->Length / 2u : cs->Length;
    if (n > limit) n = limit;
  } else if (t.data != NULL && t.wide) {
    const Unit *p = static_cast<const Unit *>(t.data);
    while (n < limit && p[n] != 0) ++n;
  } else if (t.data != NULL) {
    const char *p = static_cast<const char *>(t.data);
    while (n < limit && p[n] != 0) ++n;
  }
  if (t.data == NULL) n = limit < 6 ? limit : 6;
  t.length = n;
  return t;
}

// ---- Padding

// Writes lead (sign, 0x), then the body, padded to the width: spaces on the left, zeros between
// lead and body with the 0 flag (when zeroOk), spaces on the right with '-'.
template <class Body>
void Field(Writer &w, const Spec &s, const char *lead, size_t leadLen, size_t bodyLen, bool zeroOk, Body body) {
  const size_t len = leadLen + bodyLen;
  const size_t pad = s.width > len ? s.width - len : 0;
  const bool left = (s.flags & kLeft) != 0;
  const bool zeros = !left && zeroOk && (s.flags & kZero) != 0;
  if (!left && !zeros) w.Repeat(' ', pad);
  w.Ascii(lead, leadLen);
  if (zeros) w.Repeat('0', pad);
  body();
  if (left) w.Repeat(' ', pad);
}

// ---- Integers and pointers

// Digits of v in base 8, 10 or 16, written backwards from end; answers where they start.
char *Digits(unsigned long long v, unsigned base, bool upper, char *end) {
  const char *set = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  char *p = end;
  if (base == 10) {  // a constant divisor: a multiplication, not a division
    do {
      *--p = static_cast<char>('0' + v % 10);
      v /= 10;
    } while (v != 0);
    return p;
  }
  do {
    *--p = set[v % base];
    v /= base;
  } while (v != 0);
  return p;
}

void FormatInt(Writer &w, const Spec &s, IntValue v) {
  const unsigned base = s.conv == 'o' ? 8 : (s.conv == 'x' || s.conv == 'X') ? 16 : 10;
  char buf[24];
  char *end = buf + sizeof buf;
  char *digits = end;
  if (v.magnitude != 0 || s.precision != 0) digits = Digits(v.magnitude, base, s.conv == 'X', end);
  const size_t nDigits = static_cast<size_t>(end - digits);
  size_t zeros = s.precision > 0 && static_cast<size_t>(s.precision) > nDigits ? s.precision - nDigits : 0;
  char lead[2];
  size_t leadLen = 0;
  if (s.conv == 'd' || s.conv == 'i') {
    if (v.negative) lead[leadLen++] = '-';
    else if (s.flags & kPlus) lead[leadLen++] = '+';
    else if (s.flags & kSpace) lead[leadLen++] = ' ';
  } else if ((s.flags & kAlt) && v.magnitude != 0) {
    if (base == 16) lead[leadLen++] = '0', lead[leadLen++] = static_cast<char>(s.conv);
    else if (base == 8 && zeros == 0) zeros = 1;
  }
  Field(w, s, lead, leadLen, zeros + nDigits, true, [&] {
    w.Repeat('0', zeros);
    w.Ascii(digits, nDigits);
  });
}

void FormatPointer(Writer &w, const Spec &s, const void *p) {
  char buf[2 * sizeof(void *)];
  char *end = buf + sizeof buf;
  char *digits = Digits(reinterpret_cast<uintptr_t>(p), 16, true, end);
  while (digits > buf) *--digits = '0';
  const size_t prefix = (s.flags & kAlt) && p != NULL ? 2 : 0;
  Field(w, s, "0X", prefix, sizeof buf, false, [&] { w.Ascii(buf, sizeof buf); });
}

// ---- Text and characters

void FormatText(Writer &w, const Spec &s, const TextArg &t) {
  Field(w, s, "", 0, t.length, true, [&] {
    if (t.data == NULL) w.Ascii("(null)", t.length);
    else if (t.wide) w.Units(static_cast<const Unit *>(t.data), t.length);
    else w.Ascii(static_cast<const char *>(t.data), t.length);
  });
}

void FormatChar(Writer &w, const Spec &s, int value) {
  const Unit u = IsWideText(s) ? static_cast<Unit>(value) : static_cast<unsigned char>(value);
  Field(w, s, "", 0, s.precision == 0 ? 0 : 1, true, [&] {
    if (s.precision != 0) w.Put(u);
  });
}

// ---- Floating point

struct DoubleBits {
  bool negative;
  unsigned exponent;        // biased, 0..2047
  unsigned long long frac;  // the 52 stored bits
};

DoubleBits Decompose(double x) {
  unsigned long long bits;
  memcpy(&bits, &x, sizeof bits);
  DoubleBits d;
  d.negative = (bits >> 63) != 0;
  d.exponent = static_cast<unsigned>((bits >> 52) & 0x7FF);
  d.frac = bits & ((1ull << 52) - 1);
  return d;
}

// The exact decimal digits of a finite double: value = 0.d[0]d[1]...d[n-1] x 10^point, with no
// trailing zero digits (n is 0 for zero). At most 767 significant digits (a subnormal's expansion).
// Rounding needs only the digits up to the one after the last kept: the caller says how many
// fraction positions (fixed form) or significant digits (exponent form) that is, and the common
// values stop there; the rest of the expansion may be dropped.
class Decimal {
 public:
  Decimal(const DoubleBits &b, int fractionNeeded, int significantNeeded)
      : m_n(0), m_point(0), m_fractionNeeded(fractionNeeded), m_significantNeeded(significantNeeded) {
    unsigned long long m = b.frac;
    int e;
    if (b.exponent == 0) {
      e = -1074;
    } else {
      m |= 1ull << 52;
      e = static_cast<int>(b.exponent) - 1075;
    }
    if (m == 0) return;
    while ((m & 1) == 0) m >>= 1, ++e;
    if (e >= -60 && e <= 11) {
      Small(m, e);
      return;
    }
    Big n(m);
    if (e > 0) {
      for (; e >= 32; e -= 32) n.Mul(1ull << 32);
      n.Mul(1ull << e);
    } else if (e < 0) {
      int f = -e;
      for (; f >= 13; f -= 13) n.Mul(1220703125ull);  // 5^13
      unsigned long long pow5 = 1;
      while (f-- > 0) pow5 *= 5;
      n.Mul(pow5);
    }
    m_n = n.Text(m_d);
    m_point = m_n + (e < 0 ? e : 0);
    Trim();
  }

  int Count() const { return m_n; }
  int Point() const { return m_point; }
  // The digit at i of the infinite expansion: '0' outside the significant ones.
  char At(int i) const { return i >= 0 && i < m_n ? m_d[i] : '0'; }

  // Keeps the first keep digits (keep may be 0 or negative: digits before the first), rounding half
  // away from zero on the exact digits that follow.
  void Round(int keep) {
    if (keep >= m_n) return;
    const bool up = keep >= 0 && m_d[keep] >= '5';
    if (keep <= 0) {
      // Every significant digit goes: what is left is 0, or one unit of the rounding position.
      if (up) m_d[0] = '1', m_n = 1, m_point += 1 - keep;
      else m_n = 0;
      return;
    }
    m_n = keep;
    if (up) {
      int i = keep - 1;
      while (i >= 0 && m_d[i] == '9') m_d[i--] = '0';
      if (i >= 0) {
        ++m_d[i];
      } else {
        m_d[0] = '1';
        ++m_point;
      }
    }
    Trim();
  }

  // Writes the digits at [from, to) of the expansion.
  void Write(Writer &w, int from, int to) const {
    if (from >= to) return;
    if (from < 0) {
      const int z = (to < 0 ? to : 0) - from;
      w.Repeat('0', static_cast<size_t>(z));
      from += z;
    }
    if (from < m_n && from < to) {
      const int end = to < m_n ? to : m_n;
      w.Ascii(m_d + from, static_cast<size_t>(end - from));
      from = end;
    }
    if (from < to) w.Repeat('0', static_cast<size_t>(to - from));
  }

 private:
  // An unsigned integer in base 10^9, least significant limb first; big enough for 2^53 x 5^1074.
  class Big {
   public:
    explicit Big(unsigned long long v) : m_size(0) {
      do {
        m_limb[m_size++] = static_cast<uint32_t>(v % kBase);
        v /= kBase;
      } while (v != 0);
    }
    // factor < 2^33, so limb * factor + carry stays below 2^64.
    void Mul(unsigned long long factor) {
      unsigned long long carry = 0;
      for (int i = 0; i < m_size; ++i) {
        const unsigned long long t = m_limb[i] * factor + carry;
        m_limb[i] = static_cast<uint32_t>(t % kBase);
        carry = t / kBase;
      }
      while (carry != 0) {
        m_limb[m_size++] = static_cast<uint32_t>(carry % kBase);
        carry /= kBase;
      }
    }
    // Decimal digits, most significant first; answers their count.
    int Text(char *out) const {
      char *p = out;
      char tmp[9];
      uint32_t top = m_limb[m_size - 1];
      int k = 0;
      do tmp[k++] = static_cast<char>('0' + top % 10), top /= 10;
      while (top != 0);
      while (k > 0) *p++ = tmp[--k];
      for (int i = m_size - 2; i >= 0; --i) {
        uint32_t v = m_limb[i];
        for (int j = 8; j >= 0; --j) p[j] = static_cast<char>('0' + v % 10), v /= 10;
        p += 9;
      }
      return static_cast<int>(p - out);
    }

   private:
    static const unsigned long long kBase = 1000000000ull;
    uint32_t m_limb[90];
    int m_size;
  };

  void Trim() {
    while (m_n > 0 && m_d[m_n - 1] == '0') --m_n;
  }

  // The common values in 64-bit arithmetic: m x 2^e below 2^64 when e >= 0, and a fraction of at
  // most 60 bits (times 10 still below 2^64) when e < 0. A fraction of k bits has exactly k
  // decimal digits, so the loop ends with the last of them.
  void Small(unsigned long long m, int e) {
    char buf[20];
    char *end = buf + sizeof buf;
    const unsigned shift = e < 0 ? static_cast<unsigned>(-e) : 0;
    const unsigned long long whole = e < 0 ? m >> shift : m << e;
    if (whole != 0) {
      const char *d = Digits(whole, 10, false, end);
      m_n = static_cast<int>(end - d);
      memcpy(m_d, d, static_cast<size_t>(m_n));
    }
    m_point = m_n;
    const unsigned long long mask = (1ull << shift) - 1;
    int positions = 0;
    for (unsigned long long frac = m & mask; frac != 0; frac &= mask) {
      if (positions >= m_fractionNeeded && m_n >= m_significantNeeded) break;
      ++positions;
      frac *= 10;
      const char digit = static_cast<char>('0' + (frac >> shift));
      if (m_n == 0 && digit == '0') --m_point;  // a zero before the first significant digit
      else m_d[m_n++] = digit;
    }
    Trim();
  }

  char m_d[800];
  int m_n;
  int m_point;
  int m_fractionNeeded;
  int m_significantNeeded;
};

// The exponent part: e or E, its sign, and at least three digits.
size_t ExponentText(char *out, char letter, int exp, int minDigits) {
  char *p = out;
  *p++ = letter;
  *p++ = exp < 0 ? '-' : '+';
  const unsigned mag = exp < 0 ? 0u - static_cast<unsigned>(exp) : static_cast<unsigned>(exp);
  char buf[12];
  char *end = buf + sizeof buf;
  char *d = Digits(mag, 10, false, end);
  for (int k = static_cast<int>(end - d); k < minDigits; ++k) *p++ = '0';
  while (d < end) *p++ = *d++;
  return static_cast<size_t>(p - out);
}

bool IsUpper(Unit conv) { return conv == 'E' || conv == 'G' || conv == 'A'; }

// Infinities and NaNs as the runtime writes them: "1." and a fraction made of a marker ("#INF",
// "#QNAN", "#IND") padded with zeros, cut to the precision and rounded like digits (so the code unit
// before the cut goes up by one when the one at the cut is '5' or above).
void FormatSpecial(Writer &w, const Spec &s, const DoubleBits &b, const char *sign, size_t signLen) {
  const char *marker = b.frac == 0 ? "#INF" : b.negative ? "#IND" : "#QNAN";
  const size_t mlen = strlen(marker);
  const Unit c = s.conv | 0x20;
  size_t prec = s.precision >= 0 ? static_cast<size_t>(s.precision) : c == 'a' ? 13 : 6;
  if (c == 'g') prec = prec == 0 ? 5 : prec - 1;  // a precision of 0 stands for the default here
  char frac[8];  // the marker part of the fraction, the rest being zeros
  const size_t fracMarker = prec < mlen ? prec : mlen;
  memcpy(frac, marker, fracMarker);
  if (prec < mlen && prec > 0 && marker[prec] >= '5') ++frac[prec - 1];
  // g drops the trailing zeros, and # does not keep them here.
  const size_t fracZeros = c == 'g' ? 0 : prec - fracMarker;
  const size_t fracLen = fracMarker + fracZeros;
  char lead[4];
  memcpy(lead, sign, signLen);
  size_t leadLen = signLen;
  char exp[8];
  size_t expLen = 0;
  if (c == 'e') expLen = ExponentText(exp, static_cast<char>(s.conv), 0, 3);
  if (c == 'a') {
    lead[leadLen++] = '0';
    lead[leadLen++] = s.conv == 'A' ? 'X' : 'x';
    expLen = ExponentText(exp, s.conv == 'A' ? 'P' : 'p', 0, 1);
  }
  const size_t body = 1 + (fracLen > 0 ? 1 : 0) + fracLen + expLen;
  Field(w, s, lead, leadLen, body, true, [&] {
    w.Put('1');
    if (fracLen > 0) w.Put('.');
    w.Ascii(frac, fracMarker);
    w.Repeat('0', fracZeros);
    w.Ascii(exp, expLen);
  });
}

void FormatHex(Writer &w, const Spec &s, const DoubleBits &b, const char *sign, size_t signLen) {
  unsigned leadDigit = b.exponent != 0 ? 1 : 0;
  int exp = b.exponent != 0 ? static_cast<int>(b.exponent) - 1023 : b.frac != 0 ? -1022 : 0;
  unsigned long long frac = b.frac;  // 13 hexadecimal digits
  const size_t prec = s.precision >= 0 ? static_cast<size_t>(s.precision) : 13;
  if (prec < 13) {
    const unsigned shift = static_cast<unsigned>(4 * (13 - prec));
    const bool up = ((frac >> (shift - 4)) & 0xF) >= 8;
    frac >>= shift;
    if (up) {
      ++frac;
      if (frac >> (4 * prec)) frac = 0, ++leadDigit;  // the carry leaves the fraction
    }
    frac <<= shift;
  }
  const bool upper = s.conv == 'A';
  char hex[14];  // a marker digit, then the 13 digits with their leading zeros
  Digits(frac | (1ull << 52), 16, upper, hex + sizeof hex);
  const char *digits = hex + 1;
  char lead[4];
  memcpy(lead, sign, signLen);
  lead[signLen] = '0';
  lead[signLen + 1] = upper ? 'X' : 'x';
  char expText[8];
  const size_t expLen = ExponentText(expText, upper ? 'P' : 'p', exp, 1);
  const size_t shown = prec < 13 ? prec : 13;
  const bool point = prec > 0 || (s.flags & kAlt);
  const size_t body = 1 + (point ? 1 : 0) + prec + expLen;
  Field(w, s, lead, signLen + 2, body, true, [&] {
    w.Put(static_cast<Unit>('0' + leadDigit));
    if (point) w.Put('.');
    w.Ascii(digits, shown);
    w.Repeat('0', prec - shown);
    w.Ascii(expText, expLen);
  });
}

void FormatDouble(Writer &w, const Spec &s, double x) {
  const DoubleBits b = Decompose(x);
  char sign[1];
  size_t signLen = 0;
  if (b.negative) sign[signLen++] = '-';
  else if (s.flags & kPlus) sign[signLen++] = '+';
  else if (s.flags & kSpace) sign[signLen++] = ' ';
  if (b.exponent == 0x7FF) return FormatSpecial(w, s, b, sign, signLen);
  const Unit c = s.conv | 0x20;
  if (c == 'a') return FormatHex(w, s, b, sign, signLen);

  const bool alt = (s.flags & kAlt) != 0;
  int prec = s.precision >= 0 ? s.precision : 6;
  // One digit beyond what is kept decides the rounding (precisions past 800 need every digit).
  const int needed = prec < 800 ? prec + 2 : 800;
  Decimal d(b, c == 'f' ? needed : 0, c == 'f' ? 0 : needed);
  bool fixed = c == 'f';
  bool trim = false;
  if (c == 'g') {
    const int sig = prec == 0 ? 1 : prec;
    d.Round(sig);
    const int exp = d.Count() == 0 ? 0 : d.Point() - 1;
    fixed = exp < sig && exp >= -4;
    prec = fixed ? sig - 1 - exp : sig - 1;
    trim = !alt;
  } else if (fixed) {
    d.Round(d.Point() + prec);
  } else {
    d.Round(prec + 1);
  }
  // The fixed form writes the integer digits [0, point) (or a single 0) and the fraction from
  // point; the exponent form digit 0, then the fraction from 1. Positions outside the significant
  // digits are zeros.
  const bool zero = d.Count() == 0;
  const int fracFrom = fixed ? (zero ? 0 : d.Point()) : 1;
  int fracLen = prec;
  if (trim) {
    fracLen = d.Count() - fracFrom;
    if (fracLen > prec) fracLen = prec;
    if (fracLen < 0) fracLen = 0;
  }
  const size_t intLen = fracFrom > 0 ? static_cast<size_t>(fracFrom) : 1;
  char exp[8];
  size_t expLen = 0;
  if (!fixed) expLen = ExponentText(exp, IsUpper(s.conv) ? 'E' : 'e', zero ? 0 : d.Point() - 1, 3);
  const bool point = fracLen > 0 || alt;
  const size_t body = intLen + (point ? 1 : 0) + static_cast<size_t>(fracLen) + expLen;
  Field(w, s, sign, signLen, body, true, [&] {
    if (fracFrom <= 0) w.Put('0');
    else d.Write(w, 0, fracFrom);
    if (point) w.Put('.');
    d.Write(w, fracFrom, fracFrom + fracLen);
    w.Ascii(exp, expLen);
  });
}

// ---- The walk over a format

void Convert(Writer &w, const Spec &s, VaArgs &args) {
  switch (s.conv) {
    case 'd': case 'i': case 'o': case 'u': case 'x': case 'X':
      return FormatInt(w, s, ReadInt(s, args));
    case 'e': case 'E': case 'f': case 'g': case 'G': case 'a': case 'A':
      return FormatDouble(w, s, args.Double());
    case 'c': case 'C':
      return FormatChar(w, s, args.Int());
    case 's': case 'S': case 'Z':
      return FormatText(w, s, ReadText(s, args));
    case 'p':
      return FormatPointer(w, s, args.Pointer());
    case 'n': {
      void *target = const_cast<void *>(args.Pointer());
      if (target == NULL) return;
      const unsigned long long count = w.Count();
      if (s.size64) *static_cast<long long *>(target) = static_cast<long long>(count);
      else if (s.size == kSizeShort) *static_cast<short *>(target) = static_cast<short>(count);
      else *static_cast<int *>(target) = static_cast<int>(count);
      return;
    }
    case '%':
      return;
    default:
      w.Put(s.conv);
  }
}

// Formats [p, end); with inSpec the walk starts inside a conversion, as if after its '%'.
void Run(Writer &w, const Unit *p, const Unit *end, bool inSpec, VaArgs &args) {
  Reader r(p, end);
  for (;;) {
    if (!inSpec) {
      const Unit *lit = r.Where();
      const Unit *q = lit;
      while (q < end && *q != '%') ++q;
      w.Units(lit, static_cast<size_t>(q - lit));
      r.Skip(static_cast<size_t>(q - lit));
      if (q == end) return;
      r.Skip();
      if (r.Peek() == '%') {
        w.Put('%');
        r.Skip();
        continue;
      }
    }
    inSpec = false;
    Spec s;
    ParseSpec(r, s, args);
    if (s.conv == 0) return;
    Convert(w, s, args);
  }
}

const Unit *TextEnd(const Unit *p) {
  while (*p != 0) ++p;
  return p;
}

// ---- The estimate's items

size_t Sat(unsigned long long v) { return v < static_cast<unsigned long long>(SIZE_MAX) ? static_cast<size_t>(v) : SIZE_MAX; }

// A length the floating-point conversion never exceeds, before width.
unsigned long long DoubleBound(const Spec &s, double x) {
  const Unit c = s.conv | 0x20;
  const unsigned long long prec = s.precision >= 0 ? static_cast<unsigned long long>(s.precision) : c == 'a' ? 13 : 6;
  if (c == 'a') return (prec > 13 ? prec : 13) + 12;  // "-0x1." and "p-1074"
  if (c != 'f') return prec + 8;  // "-1." and "e+308"; g's fixed form is no longer
  const DoubleBits b = Decompose(x);
  // Integer digits of a value below 2^(e+1): at most floor((e + 1) log10 2) + 1, plus a rounding carry.
  const int e = b.exponent == 0x7FF ? 0 : static_cast<int>(b.exponent) - 1023;
  const unsigned long long intDigits = e < 0 ? 1 : static_cast<unsigned long long>(e + 1) * 30103 / 100000 + 2;
  return intDigits + prec + 2;
}

}  // namespace

size_t FormatW(unsigned short *out, size_t capacity, const unsigned short *format, va_list args) {
  va_list ap;
  va_copy(ap, args);
  VaArgs src(&ap);
  Writer w(out, capacity);
  Run(w, format, TextEnd(format), false, src);
  va_end(ap);
  return w.Finish();
}

size_t FormatSpecW(unsigned short *out, size_t capacity, const unsigned short *spec, size_t cchSpec,
                   va_list *args) {
  const Unit *end = spec + cchSpec;
  if (spec < end && *spec == '%') ++spec;
  VaArgs src(args);
  Writer w(out, capacity);
  Run(w, spec, end, true, src);
  return w.Finish();
}

Estimate EstimateW(const unsigned short *format, va_list args) {
  va_list ap;
  va_copy(ap, args);
  VaArgs src(&ap);
  const Unit *end = TextEnd(format);
  Reader r(format, end);
  unsigned long long total = 0;
  bool covers = true;
  while (r.Peek() != 0) {
    if (r.Peek() != '%') {
      ++total, r.Skip();
      continue;
    }
    r.Skip();
    if (r.Peek() == '%') {
      ++total, r.Skip();
      continue;
    }
    Spec s;
    ParseSpec(r, s, src);
    total += 2ull * static_cast<unsigned>(s.hashes);
    const unsigned long long widthPrec = s.width + static_cast<unsigned long long>(s.precision > 0 ? s.precision : 0);
    unsigned long long item = 0;
    unsigned long long bound = 0;  // what the conversion can print, padding included
    switch (s.conv) {
      case 'c': case 'C':
      case 's': case 'S': case 'Z': {
        if (s.conv == 'c' || s.conv == 'C') {
          src.Int();
          item = 2;
        } else {
          // The length is read only up to the precision; "(null)" counts 6 whatever it prints.
          const TextArg t = ReadText(s, src);
          item = t.data == NULL ? 6 : (t.length > 0 ? t.length : 1);
        }
        if (s.precision >= 0 && item > static_cast<unsigned>(s.precision)) item = static_cast<unsigned>(s.precision);
        if (item < s.width) item = s.width;
        break;  // the item holds the text, cut and padded alike
      }
      case 'd': case 'i': case 'o': case 'u': case 'x': case 'X':
        ReadInt(s, src);
        item = widthPrec > 32 ? widthPrec : 32;
        // 22 octal digits of 2^64 - 1, then a sign, a 0x or an octal 0.
        bound = static_cast<unsigned long long>(s.precision > 22 ? s.precision : 22) + 2;
        break;
      case 'e': case 'E': case 'f': case 'g': case 'G': case 'a': case 'A':
        item = widthPrec > 128 ? widthPrec : 128;
        bound = DoubleBound(s, src.Double());
        break;
      case 'p':
        src.Pointer();
        item = widthPrec > 32 ? widthPrec : 32;
        break;  // 0X and 16 digits at most
      case 'n':
        src.Pointer();
        break;
      case 0:
      case '%':
        break;
      default:
        bound = 1;  // the character itself, unpadded
    }
    if (bound > 1 && bound < s.width) bound = s.width;
    if (bound > item) covers = false;
    total += item;
    if (s.conv == 0) break;
  }
  va_end(ap);
  Estimate e;
  e.total = Sat(total);
  e.covers = covers && e.total == total;
  return e;
}

}  // namespace format
}  // namespace qn
