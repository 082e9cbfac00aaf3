// The one place where the interface's UTF-16 code units (`unsigned short`) meet the platform's
// WCHAR (wchar_t on Windows, unsigned short in the subset) and the language's char16_t literals.
// Both are 16-bit code units of the same text, so the casts only re-label the pointer.
#pragma once

namespace qn {

inline const unsigned short *AsU(const char16_t *p) { return reinterpret_cast<const unsigned short *>(p); }
inline unsigned short *AsU(char16_t *p) { return reinterpret_cast<unsigned short *>(p); }
#if defined(_WIN32)
inline const unsigned short *AsU(const wchar_t *p) { return reinterpret_cast<const unsigned short *>(p); }
inline unsigned short *AsU(wchar_t *p) { return reinterpret_cast<unsigned short *>(p); }
inline const wchar_t *AsW(const unsigned short *p) { return reinterpret_cast<const wchar_t *>(p); }
inline wchar_t *AsW(unsigned short *p) { return reinterpret_cast<wchar_t *>(p); }
#else
inline const unsigned short *AsU(const unsigned short *p) { return p; }
inline unsigned short *AsU(unsigned short *p) { return p; }
inline const unsigned short *AsW(const unsigned short *p) { return p; }
inline unsigned short *AsW(unsigned short *p) { return p; }
#endif
inline auto AsW(const char16_t *p) { return AsW(AsU(p)); }
inline auto AsW(char16_t *p) { return AsW(AsU(p)); }

}  // namespace qn
