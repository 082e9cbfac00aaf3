// The subset's hive files: export-format files written by hand (UTF-16 with a byte-order mark,
// UTF-8) read as the registry editor would import them, a file read and written back unchanged,
// a corrupt file left alone with a clear error, and several processes writing one hive at once.
// These tests own HKEY_USERS and HKEY_CLASSES_ROOT of the test program's registry directory.
#ifndef _WIN32
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "qnutil/utf16.h"
#include "qnutil/win32.h"
#include "support/registry_env.h"

namespace {

const WCHAR *W(const char16_t *s) { return qn::AsW(s); }

std::string HivePath(const char *root) { return qntest::RegistryDir() + "/" + root + ".reg"; }

std::string ReadFile(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

void WriteFile(const std::string &path, const std::string &bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

std::string Utf16WithBom(const std::u16string &text) {
  std::string bytes("\xFF\xFE", 2);
  for (char16_t c : text) {
    bytes.push_back(static_cast<char>(c & 0xFF));
    bytes.push_back(static_cast<char>(c >> 8));
  }
  return bytes;
}

struct Read {
  LSTATUS result;
  DWORD type;
  std::vector<BYTE> data;
};

Read Query(HKEY root, const char16_t *key, const char16_t *name) {
  HKEY k = nullptr;
  Read r{RegOpenKeyExW(root, W(key), 0, KEY_READ, &k), 0, {}};
  if (r.result != ERROR_SUCCESS) return r;
  BYTE buffer[256];
  DWORD size = sizeof buffer;
  r.result = RegQueryValueExW(k, W(name), nullptr, &r.type, buffer, &size);
  if (r.result == ERROR_SUCCESS) r.data.assign(buffer, buffer + size);
  RegCloseKey(k);
  return r;
}

std::vector<BYTE> Text(const std::u16string &s) {
  std::vector<BYTE> bytes;
  for (char16_t c : s) {
    bytes.push_back(static_cast<BYTE>(c & 0xFF));
    bytes.push_back(static_cast<BYTE>(c >> 8));
  }
  bytes.push_back(0);
  bytes.push_back(0);
  return bytes;
}

// An export written by hand as a user would: comments, blank lines, escapes, a hex list over
// three lines, a key deleted and a value removed after they were given.
const char16_t kHandWritten[] =
    u"Windows Registry Editor Version 5.00\r\n"
    u"\r\n"
    u"; made by hand\r\n"
    u"[HKEY_CLASSES_ROOT\\App\\Settings]\r\n"
    u"@=\"default text\"\r\n"
    u"\"Path\"=\"C:\\\\Program Files\\\\App \\\"quoted\\\"\"\r\n"
    u"\"Count\"=dword:0000002a\r\n"
    u"\"Blob\"=hex:01,02,ff\r\n"
    u"\"Expand\"=hex(2):25,00,54,00,4d,00,50,00,25,00,00,00\r\n"
    u"\"Multi\"=hex(7):61,00,00,00,62,00,\\\r\n"
    u"  63,00,00,00,\\\r\n"
    u"  00,00\r\n"
    u"\"Big\"=hex(b):01,00,00,00,00,00,00,80\r\n"
    u"\"Nothing\"=hex(0):\r\n"
    u"\"Gone\"=\"soon\"\r\n"
    u"\"Gone\"=-\r\n"
    u"\"caf\u00e9\"=\"na\u00efve\"\r\n"
    u"\r\n"
    u"[HKEY_CLASSES_ROOT\\App\\Old\\Deeper]\r\n"
    u"\"x\"=dword:1\r\n"
    u"\r\n"
    u"[-HKEY_CLASSES_ROOT\\App\\Old]\r\n";

TEST(RegistryHive, ReadsAHandWrittenExport) {
  WriteFile(HivePath("HKEY_CLASSES_ROOT"), Utf16WithBom(kHandWritten));
  const char16_t *key = u"app\\SETTINGS";
  struct Case {
    const char16_t *name;
    DWORD type;
    std::vector<BYTE> data;
  } cases[] = {
      {u"", REG_SZ, Text(u"default text")},
      {u"path", REG_SZ, Text(u"C:\\Program Files\\App \"quoted\"")},
      {u"Count", REG_DWORD, {42, 0, 0, 0}},
      {u"Blob", REG_BINARY, {1, 2, 0xFF}},
      {u"Expand", REG_EXPAND_SZ, Text(u"%TMP%")},
      {u"Multi", REG_MULTI_SZ, {'a', 0, 0, 0, 'b', 0, 'c', 0, 0, 0, 0, 0}},
      {u"Big", REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0x80}},
      {u"Nothing", REG_NONE, {}},
      {u"CAF\u00c9", REG_SZ, Text(u"na\u00efve")},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.type);
    const Read r = Query(HKEY_CLASSES_ROOT, key, c.name);
    ASSERT_EQ(r.result, ERROR_SUCCESS);
    EXPECT_EQ(r.type, c.type);
    EXPECT_EQ(r.data, c.data);
  }
  EXPECT_EQ(Query(HKEY_CLASSES_ROOT, key, u"Gone").result, ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Query(HKEY_CLASSES_ROOT, u"App\\Old\\Deeper", u"x").result, ERROR_FILE_NOT_FOUND);
  HKEY app = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, W(u"App"), 0, KEY_READ, &app), ERROR_SUCCESS);
  WCHAR name[16];
  EXPECT_EQ(RegEnumKeyW(app, 1, name, 16), ERROR_NO_MORE_ITEMS);  // "Old" went with its section
  RegCloseKey(app);
}

TEST(RegistryHive, Utf8FileReads) {
  const std::string utf8 =
      "\xEF\xBB\xBFWindows Registry Editor Version 5.00\n\n"
      "[HKEY_CLASSES_ROOT\\Utf8\\Gr\xC3\xBC\xC3\x9F" "e]\n"
      "\"\xE2\x82\xAC\"=\"\xF0\x9F\x98\x80\"\n";
  WriteFile(HivePath("HKEY_CLASSES_ROOT"), utf8);
  const Read r = Query(HKEY_CLASSES_ROOT, u"utf8\\GR\u00dc\u00dfE", u"\u20ac");
  ASSERT_EQ(r.result, ERROR_SUCCESS);
  EXPECT_EQ(r.data, Text(u"\U0001F600"));
}

// The form this library writes: every key with a section, values sorted, strings quoted when the
// quoted form gives their bytes back, everything else in hex.
const char16_t kCanonical[] =
    u"Windows Registry Editor Version 5.00\r\n"
    u"\r\n"
    u"[HKEY_USERS]\r\n"
    u"\"RootValue\"=dword:00000001\r\n"
    u"\r\n"
    u"[HKEY_USERS\\Round]\r\n"
    u"@=\"a \\\"b\\\" \\\\c\"\r\n"
    u"\"bin\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,16,\\\r\n"
    u"  17,18,19,1a\r\n"
    u"\"dw\"=dword:deadbeef\r\n"
    u"\"dwshort\"=hex(4):01,02\r\n"
    u"\"empty\"=hex(1):\r\n"
    u"\"inner\"=hex(1):61,00,00,00,62,00,00,00\r\n"
    u"\"odd\"=hex(1):41,00,42\r\n"
    u"\"own\"=hex(1234):09\r\n"
    u"\"unterminated\"=hex(1):78,00,79,00\r\n"
    u"\r\n"
    u"[HKEY_USERS\\Round\\Empty]\r\n"
    u"\r\n";

TEST(RegistryHive, RoundTripKeepsTheFileByteForByte) {
  const std::string path = HivePath("HKEY_USERS");
  WriteFile(path, Utf16WithBom(kCanonical));
  EXPECT_EQ(Query(HKEY_USERS, u"Round", u"odd").data, (std::vector<BYTE>{0x41, 0, 0x42}));
  EXPECT_EQ(Query(HKEY_USERS, u"Round", u"dw").data, (std::vector<BYTE>{0xEF, 0xBE, 0xAD, 0xDE}));
  const Read own = Query(HKEY_USERS, u"Round", u"own");
  EXPECT_EQ(own.type, 0x1234u);
  // A change undone still makes the hive write itself back.
  const BYTE one = 1;
  ASSERT_EQ(RegSetValueExW(HKEY_USERS, W(u"Temp"), 0, REG_BINARY, &one, 1), ERROR_SUCCESS);
  ASSERT_EQ(RegDeleteValueW(HKEY_USERS, W(u"Temp")), ERROR_SUCCESS);
  ASSERT_EQ(RegFlushKey(HKEY_USERS), ERROR_SUCCESS);
  EXPECT_EQ(ReadFile(path), Utf16WithBom(kCanonical));
}

TEST(RegistryHive, CorruptFileIsLeftAloneAndAnswersBadDb) {
  const std::string path = HivePath("HKEY_USERS");
  WriteFile(path, Utf16WithBom(u"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_USERS\\Kept]\r\n\"a\"=dword:1\r\n"));
  EXPECT_EQ(Query(HKEY_USERS, u"Kept", u"a").data, (std::vector<BYTE>{1, 0, 0, 0}));
  const BYTE mine[4] = {7, 0, 0, 0};
  ASSERT_EQ(RegSetValueExW(HKEY_USERS, W(u"Mine"), 0, REG_DWORD, mine, 4), ERROR_SUCCESS);  // not yet written

  // Another writer leaves a broken file behind.
  const std::string broken = Utf16WithBom(
      u"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_USERS\\Kept]\r\n\"a\"=dword:1\r\n\"b\"=dwrd:2\r\n");
  WriteFile(path, broken);
  testing::internal::CaptureStderr();
  HKEY k = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_USERS, W(u"Kept"), 0, KEY_READ, &k), ERROR_BADDB);
  EXPECT_EQ(RegSetValueExW(HKEY_USERS, W(u"Other"), 0, REG_DWORD, mine, 4), ERROR_BADDB);
  EXPECT_EQ(RegFlushKey(HKEY_USERS), ERROR_BADDB);
  const std::string message = testing::internal::GetCapturedStderr();
  EXPECT_NE(message.find("HKEY_USERS.reg:5: "), std::string::npos) << message;
  EXPECT_EQ(message.find("HKEY_USERS.reg", message.find("HKEY_USERS.reg") + 1), std::string::npos)
      << "reported once: " << message;
  EXPECT_EQ(ReadFile(path), broken);

  // Repaired, the hive works again and the change made before is still there and is written.
  WriteFile(path, Utf16WithBom(u"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_USERS\\Kept]\r\n\"b\"=dword:2\r\n"));
  EXPECT_EQ(Query(HKEY_USERS, u"Kept", u"b").data, (std::vector<BYTE>{2, 0, 0, 0}));
  ASSERT_EQ(RegFlushKey(HKEY_USERS), ERROR_SUCCESS);
  const std::string written = ReadFile(path);
  EXPECT_NE(written.find(Utf16WithBom(u"\"Mine\"=dword:00000007").substr(2)), std::string::npos);
  EXPECT_NE(written.find(Utf16WithBom(u"\"b\"=dword:00000002").substr(2)), std::string::npos);
  ASSERT_EQ(RegDeleteValueW(HKEY_USERS, W(u"Mine")), ERROR_SUCCESS);
  ASSERT_EQ(RegFlushKey(HKEY_USERS), ERROR_SUCCESS);
}

TEST(RegistryHive, ProcessesWritingOneHiveLoseNothing) {
  ASSERT_EQ(RegDeleteTreeW(HKEY_USERS, nullptr), ERROR_SUCCESS);
  ASSERT_EQ(RegFlushKey(HKEY_USERS), ERROR_SUCCESS);
  constexpr int kProcesses = 4, kValues = 60;
  // Opened before the writers start: what they write back is seen through this handle.
  HKEY k = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_USERS, W(u"Shared"), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &k, nullptr), 0);
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      int failures = 0;
      failures += RegCreateKeyExW(HKEY_USERS, W(u"Shared"), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &k, nullptr) != 0;
      for (int v = 0; v < kValues; ++v) {
        std::u16string name = u"p" + std::u16string(1, char16_t(u'0' + p)) + u"_" + std::u16string(1, char16_t(u'A' + v / 26)) +
                              std::u16string(1, char16_t(u'a' + v % 26));
        const DWORD data = static_cast<DWORD>(p * 1000 + v);
        failures += RegSetValueExW(k, W(name.c_str()), 0, REG_DWORD, reinterpret_cast<const BYTE *>(&data), 4) != 0;
        if (v % 7 == 6) failures += RegFlushKey(k) != 0;
      }
      failures += RegFlushKey(k) != 0;
      failures += RegCloseKey(k) != 0;
      _exit(failures == 0 ? 0 : 1);
    }
    children.push_back(pid);
  }
  for (pid_t pid : children) {
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  // This process sees what the others wrote, every value of every writer.
  DWORD count = 0, cch = 16, data = 0, size = 4;
  WCHAR name[16];
  while (RegEnumValueW(k, count, name, &cch, nullptr, nullptr, reinterpret_cast<BYTE *>(&data), &size) == ERROR_SUCCESS) {
    const DWORD p = name[1] - u'0', v = (name[3] - u'A') * 26 + (name[4] - u'a');
    EXPECT_EQ(data, p * 1000 + v);
    ++count;
    cch = 16;
    size = 4;
  }
  EXPECT_EQ(count, static_cast<DWORD>(kProcesses * kValues));
  RegCloseKey(k);
  ASSERT_EQ(RegDeleteTreeW(HKEY_USERS, nullptr), ERROR_SUCCESS);
  ASSERT_EQ(RegFlushKey(HKEY_USERS), ERROR_SUCCESS);
}

}  // namespace
#endif
