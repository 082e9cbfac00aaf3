// Redirection of the library's imports: qnutil.dll's import address table on Windows, libqnutil.so's
// relocation slots on POSIX.

#include "support/import_patch.h"

#include <string.h>

#include "qnutil/win32.h"

#if !defined(_WIN32)
#  include <dlfcn.h>
#  include <elf.h>
#  include <link.h>
#  include <sys/mman.h>
#  include <unistd.h>
#endif

namespace qntest {

#if defined(_WIN32)

int PatchImport(const char *name, void *replacement, void **previous) {
  BYTE *base = reinterpret_cast<BYTE *>(GetModuleHandleW(L"qnutil.dll"));
  if (base == nullptr) return 0;
  const IMAGE_DOS_HEADER *dos = reinterpret_cast<const IMAGE_DOS_HEADER *>(base);
  const IMAGE_NT_HEADERS *nt = reinterpret_cast<const IMAGE_NT_HEADERS *>(base + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY &dir = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  if (dir.VirtualAddress == 0) return 0;
  int patched = 0;
  // Matched by function name, whatever the exporting DLL is called (kernel32 or an api set).
  for (const IMAGE_IMPORT_DESCRIPTOR *d = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR *>(base + dir.VirtualAddress);
       d->Name != 0; ++d) {
    const IMAGE_THUNK_DATA *names =
        reinterpret_cast<const IMAGE_THUNK_DATA *>(base + (d->OriginalFirstThunk ? d->OriginalFirstThunk : d->FirstThunk));
    IMAGE_THUNK_DATA *slots = reinterpret_cast<IMAGE_THUNK_DATA *>(base + d->FirstThunk);
    for (; names->u1.AddressOfData != 0; ++names, ++slots) {
      if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
      const IMAGE_IMPORT_BY_NAME *ibn = reinterpret_cast<const IMAGE_IMPORT_BY_NAME *>(base + names->u1.AddressOfData);
      if (strcmp(reinterpret_cast<const char *>(ibn->Name), name) != 0) continue;
      DWORD oldProtect = 0;
      if (!VirtualProtect(&slots->u1.Function, sizeof(slots->u1.Function), PAGE_READWRITE, &oldProtect)) continue;
      if (patched == 0 && previous != nullptr) *previous = reinterpret_cast<void *>(slots->u1.Function);
      slots->u1.Function = reinterpret_cast<ULONG_PTR>(replacement);
      VirtualProtect(&slots->u1.Function, sizeof(slots->u1.Function), oldProtect, &oldProtect);
      ++patched;
    }
  }
  return patched;
}


#else

namespace {

struct LibraryImage {
  ElfW(Addr) base = 0;
  const ElfW(Phdr) *phdr = nullptr;
  ElfW(Half) phnum = 0;
};

int FindLibrary(struct dl_phdr_info *info, size_t, void *data) {
  const char *slash = info->dlpi_name != nullptr ? strrchr(info->dlpi_name, '/') : nullptr;
  const char *file = slash != nullptr ? slash + 1 : info->dlpi_name;
  if (file == nullptr || strncmp(file, "libqnutil.so", 12) != 0) return 0;
  LibraryImage *image = static_cast<LibraryImage *>(data);
  image->base = info->dlpi_addr;
  image->phdr = info->dlpi_phdr;
  image->phnum = info->dlpi_phnum;
  return 1;
}

#  if defined(__x86_64__)
const unsigned kJumpSlot = R_X86_64_JUMP_SLOT, kGlobDat = R_X86_64_GLOB_DAT;
#  elif defined(__i386__)
const unsigned kJumpSlot = R_386_JMP_SLOT, kGlobDat = R_386_GLOB_DAT;
#  elif defined(__aarch64__)
const unsigned kJumpSlot = R_AARCH64_JUMP_SLOT, kGlobDat = R_AARCH64_GLOB_DAT;
#  else
#    error "relocation types of this architecture are not known here"
#  endif

// Entries of the relocation tables of one shared object: r_info packs the symbol index and type.
unsigned RelSymbol(ElfW(Xword) info) { return sizeof(void *) == 8 ? unsigned(uint64_t(info) >> 32) : unsigned(info >> 8); }
unsigned RelType(ElfW(Xword) info) { return sizeof(void *) == 8 ? unsigned(info & 0xffffffffu) : unsigned(info & 0xffu); }

void WriteSlot(const LibraryImage &image, void **slot, void *value) {
  // Slots inside the read-only-after-relocation range need the page made writable for the moment.
  for (ElfW(Half) i = 0; i < image.phnum; ++i) {
    const ElfW(Phdr) &ph = image.phdr[i];
    if (ph.p_type != PT_GNU_RELRO) continue;
    const uintptr_t start = image.base + ph.p_vaddr, end = start + ph.p_memsz;
    const uintptr_t at = reinterpret_cast<uintptr_t>(slot);
    if (at < start || at >= end) continue;
    const uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    void *first = reinterpret_cast<void *>(at & ~(page - 1));
    mprotect(first, page, PROT_READ | PROT_WRITE);
    *slot = value;
    mprotect(first, page, PROT_READ);
    return;
  }
  *slot = value;
}

template <class Rel>
int PatchTable(const LibraryImage &image, const Rel *rel, size_t bytes, const ElfW(Sym) * symtab, const char *strtab,
               const char *name, void *replacement, void **previous, int patched) {
  for (size_t i = 0; i < bytes / sizeof(Rel); ++i) {
    const unsigned type = RelType(rel[i].r_info);
    if (type != kJumpSlot && type != kGlobDat) continue;
    const unsigned sym = RelSymbol(rel[i].r_info);
    if (sym == 0 || strcmp(strtab + symtab[sym].st_name, name) != 0) continue;
    void **slot = reinterpret_cast<void **>(image.base + rel[i].r_offset);
    if (patched == 0 && previous != nullptr) *previous = *slot;
    WriteSlot(image, slot, replacement);
    ++patched;
  }
  return patched;
}

}  // namespace

int PatchImport(const char *name, void *replacement, void **previous) {
  LibraryImage image;
  if (dl_iterate_phdr(FindLibrary, &image) == 0) return 0;
  const ElfW(Dyn) *dyn = nullptr;
  for (ElfW(Half) i = 0; i < image.phnum; ++i)
    if (image.phdr[i].p_type == PT_DYNAMIC) dyn = reinterpret_cast<const ElfW(Dyn) *>(image.base + image.phdr[i].p_vaddr);
  if (dyn == nullptr) return 0;
  // The loader may or may not have relocated the dynamic section's addresses in place.
  auto address = [&](ElfW(Addr) p) { return p < image.base ? p + image.base : p; };
  const ElfW(Sym) *symtab = nullptr;
  const char *strtab = nullptr;
  ElfW(Addr) jmprel = 0, rela = 0, rel = 0;
  size_t jmprelSize = 0, relaSize = 0, relSize = 0;
  ElfW(Sxword) pltrel = 0;
  for (const ElfW(Dyn) *d = dyn; d->d_tag != DT_NULL; ++d) {
    switch (d->d_tag) {
      case DT_SYMTAB: symtab = reinterpret_cast<const ElfW(Sym) *>(address(d->d_un.d_ptr)); break;
      case DT_STRTAB: strtab = reinterpret_cast<const char *>(address(d->d_un.d_ptr)); break;
      case DT_JMPREL: jmprel = address(d->d_un.d_ptr); break;
      case DT_PLTRELSZ: jmprelSize = d->d_un.d_val; break;
      case DT_PLTREL: pltrel = static_cast<ElfW(Sxword)>(d->d_un.d_val); break;
      case DT_RELA: rela = address(d->d_un.d_ptr); break;
      case DT_RELASZ: relaSize = d->d_un.d_val; break;
      case DT_REL: rel = address(d->d_un.d_ptr); break;
      case DT_RELSZ: relSize = d->d_un.d_val; break;
      default: break;
    }
  }
  if (symtab == nullptr || strtab == nullptr) return 0;
  int patched = 0;
  if (jmprel != 0 && pltrel == DT_RELA)
    patched = PatchTable(image, reinterpret_cast<const ElfW(Rela) *>(jmprel), jmprelSize, symtab, strtab, name,
                         replacement, previous, patched);
  if (jmprel != 0 && pltrel == DT_REL)
    patched = PatchTable(image, reinterpret_cast<const ElfW(Rel) *>(jmprel), jmprelSize, symtab, strtab, name,
                         replacement, previous, patched);
  if (rela != 0)
    patched = PatchTable(image, reinterpret_cast<const ElfW(Rela) *>(rela), relaSize, symtab, strtab, name,
                         replacement, previous, patched);
  if (rel != 0)
    patched = PatchTable(image, reinterpret_cast<const ElfW(Rel) *>(rel), relSize, symtab, strtab, name,
                         replacement, previous, patched);
  return patched;
}


#endif

void *RealFunction(const char *name, void *previous) {
#if defined(_WIN32)
  (void)name;
  return previous;
#else
  (void)previous;
  return dlsym(RTLD_DEFAULT, name);
#endif
}

ImportRedirect::ImportRedirect(const char *name, void *replacement) : m_name(name) {
  void *previous = nullptr;
  if (PatchImport(name, replacement, &previous) == 0) return;
  m_previous = previous;
  m_real = RealFunction(name, previous);
}

ImportRedirect::~ImportRedirect() {
  if (m_previous != nullptr) PatchImport(m_name, m_previous, nullptr);
}

}  // namespace qntest
