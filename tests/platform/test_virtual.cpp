// Conformance: VirtualAlloc, VirtualFree and VirtualProtect, with the results and error codes
// that Windows gives.
#include <string.h>

#include "platform/sync_helpers.h"

namespace {

using qntest::kPage;

constexpr ULONG_PTR kGranularity = 64 * 1024;

ULONG_PTR Address(const void *p) { return reinterpret_cast<ULONG_PTR>(p); }

// Expects NULL or FALSE from a call, with the given last error.
#define EXPECT_FAILS_WITH(call, error)                         \
  do {                                                         \
    SetLastError(0);                                           \
    EXPECT_FALSE(call);                                        \
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(error)) << #call; \
  } while (0)

// A reservation released at the end of the scope.
class Reservation {
 public:
  Reservation(SIZE_T size, DWORD type = MEM_RESERVE, DWORD protect = PAGE_NOACCESS)
      : base_(static_cast<char *>(VirtualAlloc(nullptr, size, type, protect))) {
    EXPECT_NE(base_, nullptr) << "VirtualAlloc failed, error " << GetLastError();
  }
  ~Reservation() {
    if (base_) VirtualFree(base_, 0, MEM_RELEASE);
  }
  Reservation(const Reservation &) = delete;
  Reservation &operator=(const Reservation &) = delete;

  char *get() const { return base_; }
  char *Release() {
    EXPECT_TRUE(VirtualFree(base_, 0, MEM_RELEASE));
    char *was = base_;
    base_ = nullptr;
    return was;
  }

 private:
  char *base_;
};

TEST(VirtualAlloc, ReservationsStartAt64KiBAndCommitsAtTheirPage) {
  Reservation r(1 << 20);
  ASSERT_NE(r.get(), nullptr);
  EXPECT_EQ(Address(r.get()) % kGranularity, 0u);
  // A commit inside the reservation answers the start of the first page it touches.
  EXPECT_EQ(VirtualAlloc(r.get() + 5000, 100, MEM_COMMIT, PAGE_READWRITE), r.get() + kPage);
  // Pages past the 100 bytes asked for are committed when the range touches them.
  EXPECT_EQ(VirtualAlloc(r.get() + 2 * kPage - 10, 20, MEM_COMMIT, PAGE_READWRITE), r.get() + kPage);
  DWORD old;
  EXPECT_TRUE(VirtualProtect(r.get() + 2 * kPage, kPage, PAGE_READWRITE, &old));

  Reservation both(3 * kPage + 1, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  EXPECT_EQ(Address(both.get()) % kGranularity, 0u);
  Reservation commitOnly(10, MEM_COMMIT, PAGE_READWRITE);  // no address: reserves as well
  EXPECT_EQ(Address(commitOnly.get()) % kGranularity, 0u);
}

TEST(VirtualAlloc, CommittedMemoryIsZeroedAndWritable) {
  constexpr SIZE_T kSize = 5 * kPage + 123;
  Reservation r(kSize, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  ASSERT_NE(r.get(), nullptr);
  // Whole pages: the tail of the last page belongs to the block too.
  for (SIZE_T i = 0; i < 6 * kPage; ++i) ASSERT_EQ(r.get()[i], 0) << i;
  memset(r.get(), 0x5A, 6 * kPage);
  EXPECT_EQ(r.get()[6 * kPage - 1], 0x5A);
}

TEST(VirtualAlloc, DecommittedPagesReadAsZeroWhenCommittedAgain) {
  Reservation r(4 * kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  ASSERT_NE(r.get(), nullptr);
  memset(r.get(), 0x77, 4 * kPage);

  EXPECT_TRUE(VirtualFree(r.get() + kPage, kPage, MEM_DECOMMIT));
  EXPECT_EQ(VirtualAlloc(r.get() + kPage, kPage, MEM_COMMIT, PAGE_READWRITE), r.get() + kPage);
  EXPECT_EQ(r.get()[kPage], 0);
  EXPECT_EQ(r.get()[2 * kPage - 1], 0);
  // The neighbours kept their contents.
  EXPECT_EQ(r.get()[kPage - 1], 0x77);
  EXPECT_EQ(r.get()[2 * kPage], 0x77);

  // Committing pages that are already committed keeps their contents and takes the new
  // protection.
  EXPECT_EQ(VirtualAlloc(r.get(), kPage, MEM_COMMIT, PAGE_READONLY), r.get());
  EXPECT_EQ(r.get()[0], 0x77);
  DWORD old = 0;
  EXPECT_TRUE(VirtualProtect(r.get(), kPage, PAGE_READWRITE, &old));
  EXPECT_EQ(old, static_cast<DWORD>(PAGE_READONLY));
}

TEST(VirtualAlloc, RejectsBadArguments) {
  EXPECT_FAILS_WITH(VirtualAlloc(nullptr, 0, MEM_RESERVE, PAGE_READWRITE), ERROR_INVALID_PARAMETER);
  EXPECT_FAILS_WITH(VirtualAlloc(nullptr, kPage, 0, PAGE_READWRITE), ERROR_INVALID_PARAMETER);
  EXPECT_FAILS_WITH(VirtualAlloc(nullptr, kPage, MEM_COMMIT | 0x10000000, PAGE_READWRITE), ERROR_INVALID_PARAMETER);
  EXPECT_FAILS_WITH(VirtualAlloc(nullptr, kPage, MEM_RESERVE, 0), ERROR_INVALID_PARAMETER);
  EXPECT_FAILS_WITH(VirtualAlloc(nullptr, kPage, MEM_RESERVE, PAGE_READONLY | PAGE_READWRITE),
                    ERROR_INVALID_PARAMETER);
  EXPECT_FAILS_WITH(VirtualAlloc(nullptr, kPage, MEM_COMMIT, PAGE_WRITECOPY), ERROR_INVALID_PARAMETER);
  EXPECT_FAILS_WITH(VirtualAlloc(nullptr, kPage, MEM_COMMIT, PAGE_NOCACHE), ERROR_INVALID_PARAMETER);
}

TEST(VirtualAlloc, CommitMustLieInsideOneReservation) {
  Reservation r(kGranularity);
  ASSERT_NE(r.get(), nullptr);
  // Running past the end of the reservation.
  EXPECT_FAILS_WITH(VirtualAlloc(r.get() + kGranularity - 10, 100, MEM_COMMIT, PAGE_READWRITE),
                    ERROR_INVALID_ADDRESS);
  // A reservation where one already is.
  EXPECT_FAILS_WITH(VirtualAlloc(r.get() + kPage, kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE),
                    ERROR_INVALID_ADDRESS);
  // Memory that is no longer reserved.
  char *gone = r.Release();
  EXPECT_FAILS_WITH(VirtualAlloc(gone, kPage, MEM_COMMIT, PAGE_READWRITE), ERROR_INVALID_ADDRESS);
}

TEST(VirtualAlloc, ReserveAtAnAddressRoundsDownTo64KiB) {
  Reservation r(kGranularity);
  ASSERT_NE(r.get(), nullptr);
  char *freed = r.Release();
  char *again = static_cast<char *>(VirtualAlloc(freed + 100, kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
  EXPECT_EQ(again, freed);
  if (again) {
    // Committed from the base up to the end of the page that the request reached.
    again[0] = 1;
    again[kPage + 99] = 2;
    EXPECT_TRUE(VirtualFree(again, 0, MEM_RELEASE));
  }
}

TEST(VirtualFree, ReleaseNeedsTheBaseAndASizeOfZero) {
  Reservation r(kGranularity);
  ASSERT_NE(r.get(), nullptr);
  EXPECT_FAILS_WITH(VirtualFree(r.get(), kPage, MEM_RELEASE), ERROR_INVALID_PARAMETER);
  EXPECT_FAILS_WITH(VirtualFree(r.get() + kPage, 0, MEM_RELEASE), ERROR_INVALID_ADDRESS);
  EXPECT_FAILS_WITH(VirtualFree(r.get(), 0, MEM_RELEASE | MEM_DECOMMIT), ERROR_INVALID_PARAMETER);
  EXPECT_FAILS_WITH(VirtualFree(r.get(), 0, 0), ERROR_INVALID_PARAMETER);
  char *gone = r.Release();
  EXPECT_FAILS_WITH(VirtualFree(gone, 0, MEM_RELEASE), ERROR_INVALID_PARAMETER);
  EXPECT_FAILS_WITH(VirtualFree(nullptr, 0, MEM_RELEASE), ERROR_INVALID_PARAMETER);
}

TEST(VirtualFree, DecommitRanges) {
  Reservation r(kGranularity, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  ASSERT_NE(r.get(), nullptr);
  // Decommitting twice, or pages that were never committed, is fine.
  EXPECT_TRUE(VirtualFree(r.get() + kPage, kPage, MEM_DECOMMIT));
  EXPECT_TRUE(VirtualFree(r.get() + kPage, kPage, MEM_DECOMMIT));
  // A size of 0 means the whole reservation, and only from its base.
  EXPECT_FAILS_WITH(VirtualFree(r.get() + kPage, 0, MEM_DECOMMIT), ERROR_INVALID_ADDRESS);
  // Past the end of the reservation.
  EXPECT_FAILS_WITH(VirtualFree(r.get() + kGranularity - kPage, 2 * kPage, MEM_DECOMMIT), ERROR_INVALID_PARAMETER);
  // Any byte of a page names the page.
  EXPECT_TRUE(VirtualFree(r.get() + 2 * kPage + 1, kPage - 1, MEM_DECOMMIT));
  DWORD old;
  EXPECT_FAILS_WITH(VirtualProtect(r.get() + 2 * kPage, kPage, PAGE_READONLY, &old), ERROR_INVALID_ADDRESS);
  EXPECT_TRUE(VirtualProtect(r.get() + 3 * kPage, kPage, PAGE_READONLY, &old));

  EXPECT_TRUE(VirtualFree(r.get(), 0, MEM_DECOMMIT));
  EXPECT_FAILS_WITH(VirtualProtect(r.get() + 3 * kPage, kPage, PAGE_READONLY, &old), ERROR_INVALID_ADDRESS);
  // Still reserved: it can be committed again.
  EXPECT_EQ(VirtualAlloc(r.get(), kPage, MEM_COMMIT, PAGE_READWRITE), r.get());
}

TEST(VirtualProtect, AnswersTheOldProtectionOfTheFirstPage) {
  Reservation r(kGranularity, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  ASSERT_NE(r.get(), nullptr);
  DWORD old = 0;
  EXPECT_TRUE(VirtualProtect(r.get() + kPage, kPage, PAGE_READONLY, &old));
  EXPECT_EQ(old, static_cast<DWORD>(PAGE_READWRITE));
  EXPECT_TRUE(VirtualProtect(r.get() + kPage, 3 * kPage, PAGE_NOACCESS, &old));
  EXPECT_EQ(old, static_cast<DWORD>(PAGE_READONLY));
  EXPECT_TRUE(VirtualProtect(r.get(), 3 * kPage, PAGE_EXECUTE_READ, &old));
  EXPECT_EQ(old, static_cast<DWORD>(PAGE_READWRITE));
  EXPECT_TRUE(VirtualProtect(r.get() + 2 * kPage, kPage, PAGE_READWRITE, &old));
  EXPECT_EQ(old, static_cast<DWORD>(PAGE_EXECUTE_READ));
  // A size of 0 still names the page that holds the address.
  EXPECT_TRUE(VirtualProtect(r.get() + 3 * kPage + 5, 0, PAGE_READWRITE, &old));
  EXPECT_EQ(old, static_cast<DWORD>(PAGE_NOACCESS));
  // The protection really changed: the page is writable again.
  r.get()[2 * kPage] = 9;
  EXPECT_EQ(r.get()[2 * kPage], 9);
}

TEST(VirtualProtect, RefusesUncommittedRangesAndBadArguments) {
  Reservation r(kGranularity);
  ASSERT_NE(r.get(), nullptr);
  ASSERT_EQ(VirtualAlloc(r.get() + kPage, kPage, MEM_COMMIT, PAGE_READWRITE), r.get() + kPage);
  DWORD old = 0xABC;
  EXPECT_FAILS_WITH(VirtualProtect(r.get(), kPage, PAGE_READONLY, &old), ERROR_INVALID_ADDRESS);
  EXPECT_FAILS_WITH(VirtualProtect(r.get() + kPage, 2 * kPage, PAGE_READONLY, &old), ERROR_INVALID_ADDRESS);
  EXPECT_EQ(old, 0xABCu);
  EXPECT_FAILS_WITH(VirtualProtect(r.get() + kGranularity - kPage, 2 * kPage, PAGE_READONLY, &old),
                    ERROR_INVALID_PARAMETER);
  EXPECT_FAILS_WITH(VirtualProtect(r.get() + kPage, kPage, PAGE_READONLY, nullptr), ERROR_NOACCESS);
  EXPECT_FAILS_WITH(VirtualProtect(r.get() + kPage, kPage, 0, &old), ERROR_INVALID_PARAMETER);
  EXPECT_FAILS_WITH(VirtualProtect(r.get() + kPage, kPage, PAGE_WRITECOPY, &old), ERROR_INVALID_PARAMETER);
  // None of the refusals changed the committed page.
  EXPECT_TRUE(VirtualProtect(r.get() + kPage, kPage, PAGE_READWRITE, &old));
  EXPECT_EQ(old, static_cast<DWORD>(PAGE_READWRITE));
  // Free memory.
  char *gone = r.Release();
  EXPECT_FAILS_WITH(VirtualProtect(gone + kPage, kPage, PAGE_READONLY, &old), ERROR_INVALID_PARAMETER);
  EXPECT_FAILS_WITH(VirtualFree(gone + kPage, kPage, MEM_DECOMMIT), ERROR_INVALID_PARAMETER);
}

}  // namespace
