// Text scanning: free functions over zero-terminated text in the caller's memory. Blank tests,
// character-set, substring and prefix search, line stepping, tokens, name/value pairs and tags.
//
// None of them allocates, keeps state, reports an error or throws. Pointers they answer point into
// the caller's text. Only the arguments said to accept NULL accept it; every other text pointer
// must point to terminated text.
//
// Shared rules:
// - UTF-16 text is code units; a character is one code unit (no surrogate handling).
// - Blank: exactly 0x09, 0x0A, 0x0B, 0x0C, 0x0D and 0x20. Nothing else (not 0xA0), and in 8-bit
//   text no byte of 0x80 or above.
// - "Ignoring case" compares one character at a time through the platform's single-character
//   lower-case mapping (CharLowerW with the character in place of the pointer) on the low 16 bits of
//   the answers; no locale-aware or whole-string comparison. Costs two mapping calls per pair.
// - The functions ending in A work on 8-bit text in the active ANSI code page and step with
//   CharNextA, so a lead byte and its trail byte move together. A double-byte character is compared
//   ignoring case as the 16-bit value "lead byte low, trail byte high" passed to CharLowerA. That
//   mapping looks at the low byte alone and answers a lead byte unchanged, so two double-byte
//   characters with the same lead byte compare equal ignoring case (full-width A and B in 932).
// - Word character (FindTag, and the letter tests of BGetNameValPair): IsCharAlphaNumericW /
//   IsCharAlphaNumericA (letters: IsCharAlphaW).
#pragma once

#include "qnutil/export.h"
#include "qnutil/win32.h"

// 1 when the text is NULL or holds only blanks (the empty text included), else 0.
QNUTIL_API int BIsEmpty(const unsigned short *pwsz);
QNUTIL_API int BIsEmptyA(const char *psz);

// The first character of the text that occurs in the set, or NULL (always NULL for an empty text
// or an empty set). The 8-bit form compares each byte of the set with the first byte of each
// character only: trail bytes never match.
QNUTIL_API unsigned short *StrMultiChr(const unsigned short *pwsz, const unsigned short *pwszSet);
QNUTIL_API char *StrMultiChrA(const char *psz, const char *pszSet);

// The leftmost occurrence of the pattern, or NULL. A NULL text answers NULL; an empty pattern
// answers the text itself (also an empty one); a non-empty pattern in an empty text answers NULL.
// The plain quadratic search: no tables, no preprocessing. (<shlwapi.h> defines StrStr and StrStrI
// as macros: code that includes it #undefs them before calling these.)
QNUTIL_API unsigned short *StrStr(const unsigned short *pwszText, const unsigned short *pwszPattern);
QNUTIL_API unsigned short *StrStrI(const unsigned short *pwszText, const unsigned short *pwszPattern);

// 1 when the second argument is a prefix of the first (text first, prefix second), else 0. An empty
// prefix always answers 1; a prefix longer than the text answers 0.
QNUTIL_API int SubStrCmp(const unsigned short *pwszText, const unsigned short *pwszPrefix);
QNUTIL_API int SubStrCmpi(const unsigned short *pwszText, const unsigned short *pwszPrefix);
QNUTIL_API int SubStrCmpiA(const char *pszText, const char *pszPrefix);

// Ends the current line in place and answers the start of the next one. Only a carriage return
// ends a line: it is overwritten with 0 and a line feed right after it is stepped over (and left
// as it is). Answers NULL, with the text untouched, when no carriage return comes before the
// terminator, and NULL when the terminator follows the line end. A caller walks a text by using the
// current line and continuing from the answer until it is NULL; the last line is complete then too.
QNUTIL_API unsigned short *PchNextLine(unsigned short *pwszLine);

// Copies the next token of the source into pwszToken (cchToken code units, terminator included;
// at least 1) and answers where the next call continues: on a blank, on the terminator, or on the
// first character that did not fit. Leading blanks are skipped; a token ends before a blank. When
// pwszDelims (may be NULL) is given, a delimiter ends the token and is its last character; a
// delimiter met first is a token of its own. A delimiter is appended only while 2 places remain, so
// it and the terminator always fit; otherwise the token ends before it. A token longer than the
// buffer is cut and the next call continues with its remainder. At the end of the text the token
// is empty and the answer is the terminator, on every further call too. A capacity of 1 writes an
// empty token and answers the first non-blank character: repeated calls make no progress.
// The 8-bit form counts bytes and steps with CharNextA; delimiters are single bytes; a double-byte
// character is appended whole and only while more than 2 places remain.
// Capacities below 1 are outside the contract; this implementation writes nothing for them and
// answers the first non-blank character (the end of the text when there is none).
QNUTIL_API const unsigned short *GetToken(const unsigned short *pwszSource, unsigned short *pwszToken,
                                          short cchToken, const unsigned short *pwszDelims);
QNUTIL_API const char *GetTokenA(const char *pszSource, char *pszToken, short cchToken,
                                 const char *pszDelims);

// Looks for "name separator value" in the text at pwszCursor and copies the value into pwszValue.
//
// The name (matched ignoring case; an empty name matches at once) is tried at the start, after
// blanks, after a quoted run, at the start of a run of letters and after any other single
// character: never inside quotes or inside a word. The name is tried before the stop marker at each
// position. After the name: a letter or digit fails the call (a longer word); then optional blanks,
// the separator (compared exactly), optional blanks, and the value:
// - quoted ("..."): the text between the quotes, at most cchValue - 1 characters, the rest dropped;
//   with fStripQuotedBlanks, blanks inside are dropped and do not count. The cursor goes past the
//   closing quote, also when the value was cut. The only quote is 0x22; there is no escape.
// - unquoted: up to the end, a blank, the stop marker, or cchValue - 1 characters; the cursor stays
//   on the first character not copied. Quotes inside it are ordinary characters.
//
// pwszStop (may be NULL) ends the search and an unquoted value: with fStopIsString it is a string
// matched ignoring case at each position, otherwise a set of characters compared exactly.
// *ppwszNamePos (ppwszNamePos may be NULL) receives where the name was found, as soon as it is found,
// even when the call then fails.
//
// Answers 1 when a value was read. Answers 0 and leaves pwszValue untouched otherwise, with the
// cursor: on the terminator (nothing found); on the first character of the stop marker; on an
// opening quote that has no closing quote (in the search or the value); just after the name when a
// letter or digit follows it; on the character that stands where the separator should be.
// A separator of 0 (the terminator) never matches: the call answers 0 with the cursor on the
// terminator or on what follows the name.
// cchValue is at least 1; below 1 is outside the contract (this implementation then answers 0 with
// the cursor on the first character of the value, writing nothing).
QNUTIL_API int BGetNameValPair(const unsigned short *&pwszCursor, const unsigned short *pwszName,
                               unsigned short chSeparator, unsigned short *pwszValue, short cchValue,
                               const unsigned short *pwszStop, bool fStopIsString,
                               bool fStripQuotedBlanks, const unsigned short **ppwszNamePos);

// Finds the earliest place in the text where one of the tags occurs at a word boundary, ignoring
// case. Answers the index of that tag (the first in array order when several match at one
// position) and stores its position in pwszFound, or answers -1. pwszFound is set to NULL first, on
// every call. A tag is tried at the start, after blanks, at the start of each run of word
// characters and at each other character, never inside a word; it matches when the last character
// of the match or the character after it (the terminator included) is not a word character. So
// "table" does not match in "tables", but "<b>" or "//" match whatever follows them.
// Tags are non-empty; an empty tag is outside the contract (this implementation never matches one).
// A count of 0 answers -1. The 8-bit form applies the word tests to the byte before the end of the
// match and the byte at its end.
QNUTIL_API int FindTag(const unsigned short *pwszText, const unsigned short *const *rgpwszTags,
                       DWORD cTags, const unsigned short *&pwszFound);
QNUTIL_API int FindTagA(const char *pszText, const char *const *rgpszTags, DWORD cTags,
                        const char *&pszFound);
