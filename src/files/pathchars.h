// What the path functions share: the separators and the table that finds them.
#pragma once

namespace qn {
namespace paths {

inline bool IsSeparator(unsigned short ch) { return ch == u'/' || ch == u'\\'; }

inline bool IsBlank(unsigned short ch) { return ch == u' ' || (ch >= 0x09 && ch <= 0x0D); }

// The two double separators that start a network or URL authority part, as the tag list FindTag
// takes (count 2), followed by the set of single separators for StrMultiChr.
extern const unsigned short *const kSeparatorTable[3];
constexpr unsigned kDoubleSeparatorCount = 2;
inline const unsigned short *SeparatorSet() { return kSeparatorTable[2]; }

// Where the first double separator begins, or null.
const unsigned short *FindDoubleSeparator(const unsigned short *pwsz);

}  // namespace paths
}  // namespace qn
