#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <random>

#include "SCTestSupport.h"

namespace {

using namespace sctest;
using Preferences = CFTest;

std::string lockPath() { return std::string(kPreferencesPlist) + "-lock"; }

bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

TEST_F(Preferences, ValuesLiveInTheSessionUntilCommitted) {
  auto prefs = openPreferences();
  ASSERT_TRUE(prefs);
  EXPECT_EQ(utf8(SCPreferencesGetValue(prefs.get(), kSCPrefCurrentSet)), std::string("/Sets/") + kAutomatic);
  EXPECT_EQ(texts(adopt(SCPreferencesCopyKeyList(prefs.get())).get()),
            (std::vector<std::string>{"CurrentSet", "Model", "NetworkServices", "Sets", "System",
                                      "VirtualNetworkInterfaces", "__VERSION__"}));
  EXPECT_TRUE(failedWith(SCPreferencesGetValue(prefs.get(), CFSTR("Missing")), kSCStatusNoKey));

  // Add, its refusal of a key that has a value, Set, and keys with slashes
  // are checked through the helper's integer write.
  ASSERT_TRUE(SCPreferencesSetValue(prefs.get(), CFSTR("/Custom/Settings"), CFSTR("uncommitted")));
  EXPECT_EQ(SCPreferencesGetValue(openPreferences().get(), CFSTR("/Custom/Settings")), nullptr)
      << "another session reads the file, which has no uncommitted change";

  ASSERT_TRUE(SCPreferencesRemoveValue(prefs.get(), kSCPrefCurrentSet));
  EXPECT_TRUE(failedWith(SCPreferencesRemoveValue(prefs.get(), kSCPrefCurrentSet), kSCStatusNoKey));

  SCPreferencesSynchronize(prefs.get());
  EXPECT_EQ(SCPreferencesGetValue(prefs.get(), CFSTR("/Custom/Settings")), nullptr) << "synchronize drops changes";
  EXPECT_NE(SCPreferencesGetValue(prefs.get(), kSCPrefCurrentSet), nullptr);
}

TEST_F(Preferences, CommitWritesAnXmlFileOtherSessionsRead) {
  auto prefs = openPreferences();
  auto before = adopt(static_cast<CFDataRef>(CFRetain(SCPreferencesGetSignature(prefs.get()))));
  ASSERT_TRUE(SCPreferencesSetValue(prefs.get(), CFSTR("Marker"), CFSTR("committed")));
  ASSERT_TRUE(SCPreferencesCommitChanges(prefs.get()));
  EXPECT_FALSE(CFEqual(before.get(), SCPreferencesGetSignature(prefs.get())));
  EXPECT_TRUE(SCPreferencesCommitChanges(prefs.get())) << "nothing left to write";

  EXPECT_EQ(utf8(SCPreferencesGetValue(openPreferences().get(), CFSTR("Marker"))), "committed");
  EXPECT_EQ(fileBytes(kPreferencesPlist).rfind("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n", 0), 0u);
  auto stored = storedPreferences();
  EXPECT_EQ(utf8(valueAt(stored.get(), "Marker")), "committed");
  EXPECT_NE(valueAt(stored.get(), "NetworkServices"), nullptr);

  struct stat status {};
  ASSERT_EQ(stat(kPreferencesPlist, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644u);
  EXPECT_FALSE(exists(std::string(kPreferencesPlist) + "-new"));
  EXPECT_FALSE(exists(lockPath())) << "commit took the lock for itself and let it go";
}

TEST_F(Preferences, PathsFollowLinks) {
  auto prefs = openPreferences();
  auto get = [&](const std::string& path) { return SCPreferencesPathGetValue(prefs.get(), cfstring(path).get()); };
  auto link = [&](const std::string& path) { return SCPreferencesPathGetLink(prefs.get(), cfstring(path).get()); };
  std::string viaSet = std::string("/Sets/") + kAutomatic + "/Network/Service/" + kEthernet;
  std::string service = std::string("/NetworkServices/") + kEthernet;

  ASSERT_NE(get(viaSet), nullptr);
  EXPECT_EQ(get(viaSet), get(service));
  EXPECT_EQ(utf8(link(viaSet)), service);
  EXPECT_EQ(link(service), nullptr);
  EXPECT_EQ(utf8(valueAt(get(viaSet + "/Interface"), "DeviceName")), "en0");
  EXPECT_EQ(get("/"), get("//"));

  // What a path cannot name.
  for (const char* path : {"/NetworkServices/missing", "/CurrentSet", "relative/path", "/CurrentSet/below"}) {
    EXPECT_TRUE(failedWith(get(path), kSCStatusNoKey)) << path;
  }

  // Links that lead in a circle end the lookup.
  ASSERT_TRUE(
      SCPreferencesPathSetValue(prefs.get(), CFSTR("/Loop/a"), cfdictionary({{"__LINK__", CFSTR("/Loop/b")}}).get()));
  ASSERT_TRUE(SCPreferencesPathSetLink(prefs.get(), CFSTR("/Loop/b"), CFSTR("/Loop/a")));
  EXPECT_TRUE(failedWith(get("/Loop/a/x"), kSCStatusMaxLink));
}

TEST_F(Preferences, LockExcludesOtherSessionsAndRefusesStaleOnes) {
  auto writer = openPreferences(), reader = openPreferences();
  EXPECT_TRUE(failedWith(SCPreferencesUnlock(writer.get()), kSCStatusNeedLock));

  ASSERT_TRUE(SCPreferencesLock(writer.get(), false));
  EXPECT_TRUE(exists(lockPath()));
  EXPECT_TRUE(failedWith(SCPreferencesLock(writer.get(), false), kSCStatusLocked));
  EXPECT_TRUE(failedWith(SCPreferencesLock(reader.get(), false), kSCStatusPrefsBusy));
  EXPECT_STREQ(SCErrorString(SCError()), "Preferences update currently in progress");

  // The reader has read the preferences when the writer changes them.
  ASSERT_NE(SCPreferencesGetValue(reader.get(), kSCPrefCurrentSet), nullptr);
  ASSERT_TRUE(SCPreferencesSetValue(writer.get(), CFSTR("Marker"), CFSTR("writer")));
  ASSERT_TRUE(SCPreferencesCommitChanges(writer.get()));
  ASSERT_TRUE(SCPreferencesUnlock(writer.get()));
  EXPECT_FALSE(exists(lockPath()));

  // A stale lock, and a synchronize that cures it, are shown across processes below.
  ASSERT_TRUE(SCPreferencesSetValue(reader.get(), CFSTR("Marker"), CFSTR("reader")));
  EXPECT_TRUE(failedWith(SCPreferencesCommitChanges(reader.get()), kSCStatusStale))
      << "commit locks too, and so finds the session stale";
  EXPECT_EQ(utf8(valueAt(storedPreferences().get(), "Marker")), "writer");
}

TEST_F(Preferences, LockMakesAWriterProcessWaitForAnother) {
  Pipe locked, proceed;
  ChildProcess first([&] {
    auto prefs = openPreferences();
    if (!SCPreferencesLock(prefs.get(), true)) return 1;
    locked.signal();
    if (!proceed.wait()) return 2;
    bool ok = SCPreferencesSetValue(prefs.get(), CFSTR("Marker"), CFSTR("first writer")) &&
              SCPreferencesCommitChanges(prefs.get()) && SCPreferencesUnlock(prefs.get());
    return ok ? 0 : 3;
  });
  ASSERT_TRUE(locked.wait());
  auto prefs = openPreferences();
  EXPECT_TRUE(failedWith(SCPreferencesLock(prefs.get(), false), kSCStatusPrefsBusy));
  ASSERT_NE(SCPreferencesGetValue(prefs.get(), kSCPrefCurrentSet), nullptr);

  proceed.signal();
  // Waits until the first writer has committed and let go; what this session
  // read is then out of date.
  EXPECT_TRUE(failedWith(SCPreferencesLock(prefs.get(), true), kSCStatusStale));
  EXPECT_EQ(first.wait(), 0);

  SCPreferencesSynchronize(prefs.get());
  ASSERT_TRUE(SCPreferencesLock(prefs.get(), false));
  EXPECT_EQ(utf8(SCPreferencesGetValue(prefs.get(), CFSTR("Marker"))), "first writer");
  ASSERT_TRUE(SCPreferencesUnlock(prefs.get()));
}

TEST_F(Preferences, AProcessThatIsNotRootReadsButCannotWrite) {
  int status = ChildProcess([] {
    if (setgid(20) != 0 || setuid(501) != 0) return 77;
    auto prefs = openPreferences();
    if (SCPreferencesGetValue(prefs.get(), kSCPrefCurrentSet) == nullptr) return 1;
    SCPreferencesSetValue(prefs.get(), CFSTR("Marker"), CFSTR("user"));
    if (SCPreferencesLock(prefs.get(), true) || SCError() != kSCStatusAccessError) return 2;
    if (SCPreferencesCommitChanges(prefs.get()) || SCError() != kSCStatusAccessError) return 3;
    if (!adopt(SCDynamicStoreCopyValue(nullptr, CFSTR("Setup:")))) return 4;
    if (SCDynamicStoreSetValue(nullptr, CFSTR("State:/Marker"), CFSTR("user")) || SCError() != kSCStatusAccessError) {
      return 5;
    }
    AuthorizationItem item = {"system.preferences", 0, nullptr, 0};
    AuthorizationRights rights = {1, &item};
    AuthorizationRef authorization = nullptr;
    if (AuthorizationCreate(&rights, nullptr, kAuthorizationFlagExtendRights, &authorization) !=
        errAuthorizationInteractionNotAllowed) {
      return 6;
    }
    return 0;
  }).wait();
  if (status == 77) GTEST_SKIP() << "this sandbox cannot switch to another user";
  EXPECT_EQ(status, 0);
  EXPECT_EQ(valueAt(storedPreferences().get(), "Marker"), nullptr);
}

// A value big enough that writing it takes a while; every byte is the
// number of the commit that wrote it.
const size_t kBulkSize = 2 << 20;

xpc::CFRef<CFDataRef> bulk(int generation) {
  std::vector<UInt8> bytes(kBulkSize, static_cast<UInt8>(generation));
  return adopt(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
}

TEST_F(Preferences, AKilledWriterLeavesTheOldOrTheNewFile) {
  std::mt19937 random(20240601);
  for (int round = 0; round < 25; ++round) {
    Pipe committed;
    ChildProcess writer([&] {
      auto prefs = openPreferences();
      for (int generation = 0;; ++generation) {
        if (!SCPreferencesSetValue(prefs.get(), CFSTR("Bulk"), bulk(generation).get()) ||
            !SCPreferencesCommitChanges(prefs.get())) {
          return 1;
        }
        if (generation == 0) committed.signal();
      }
    });
    ASSERT_TRUE(committed.wait());
    usleep(std::uniform_int_distribution<useconds_t>(0, 30000)(random));
    writer.signal(SIGKILL);
    ASSERT_EQ(writer.wait(), 128 + SIGKILL);

    auto stored = storedPreferences();
    ASSERT_TRUE(stored) << "round " << round << ": the file does not parse";
    EXPECT_EQ(utf8(valueAt(stored.get(), "CurrentSet")), std::string("/Sets/") + kAutomatic);
    auto data = static_cast<CFDataRef>(valueAt(stored.get(), "Bulk"));
    ASSERT_NE(data, nullptr) << "round " << round;
    ASSERT_EQ(static_cast<size_t>(CFDataGetLength(data)), kBulkSize) << "round " << round;
    const UInt8* bytes = CFDataGetBytePtr(data);
    EXPECT_EQ(std::count(bytes, bytes + CFDataGetLength(data), bytes[0]), CFDataGetLength(data)) << "round " << round;
  }

  auto prefs = openPreferences();
  EXPECT_TRUE(SCPreferencesLock(prefs.get(), false)) << "the lock dies with its holder";
  EXPECT_TRUE(SCPreferencesUnlock(prefs.get()));
}

TEST_F(Preferences, ACorruptOrMissingFileReadsAsNoPreferences) {
  for (const char* contents : {"this is not a property list", "<plist version=\"1.0\"><array/></plist>", ""}) {
    writeFile(kPreferencesPlist, contents);
    auto prefs = openPreferences();
    ASSERT_TRUE(prefs) << contents;
    EXPECT_EQ(SCError(), kSCStatusOK);
    EXPECT_TRUE(failedWith(SCPreferencesGetValue(prefs.get(), kSCPrefCurrentSet), kSCStatusNoKey));
    EXPECT_EQ(CFArrayGetCount(adopt(SCPreferencesCopyKeyList(prefs.get())).get()), 0);
    EXPECT_FALSE(adopt(SCNetworkSetCopyCurrent(prefs.get())));
    EXPECT_EQ(CFArrayGetCount(adopt(SCNetworkServiceCopyAll(prefs.get())).get()), 0);
  }

  ASSERT_EQ(unlink(kPreferencesPlist), 0);
  auto prefs = openPreferences();
  ASSERT_TRUE(prefs);
  EXPECT_EQ(SCError(), kSCStatusNoConfigFile);
  EXPECT_EQ(SCPreferencesGetValue(prefs.get(), kSCPrefCurrentSet), nullptr);
  ASSERT_TRUE(SCPreferencesSetValue(prefs.get(), CFSTR("Marker"), CFSTR("fresh")));
  ASSERT_TRUE(SCPreferencesCommitChanges(prefs.get()));
  EXPECT_EQ(utf8(SCPreferencesGetValue(openPreferences().get(), CFSTR("Marker"))), "fresh");
}

}  // namespace
