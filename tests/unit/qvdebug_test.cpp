// The debug facility where no option leads: trace lines at the edges, assertion modes, and archives that are
// cut off, damaged or made to do harm.
#include "common/qvdebug.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "common/alert.h"

#if __has_include(<miniz/miniz.h>)
#include <miniz/miniz.h>
#else
#include <miniz.h>
#endif

static std::string content(const char* path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

static void write_file(const char* path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

class Debug : public testing::Test {
 protected:
  void SetUp() override {
    scratch = std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp";  // thousands of archives are flushed
    scratch += "/qvdebug_testXXXXXX";
    ASSERT_NE(mkdtemp(scratch.data()), nullptr);
    std::filesystem::current_path(scratch);
    gFilePath = "run.out";
    gFile = std::fopen(gFilePath, "w");
    gZipPath = nullptr;
    gIndentLevel = gIndentColumns = 0;
  }
  void TearDown() override {
    if (gFile != nullptr) std::fclose(gFile);
    gFile = nullptr;
    gAssertMode = DBA_IGNORE;
    std::filesystem::remove_all(scratch);
  }
  std::string traced() { return content("run.out"); }
  std::string scratch;
};

template <class Action>
static std::string alerts_of(Action action) {
  testing::internal::CaptureStderr();
  action();
  return testing::internal::GetCapturedStderr();
}

TEST_F(Debug, IndentFollowsEnterAndExitAndStopsAtTheEdges) {
  EXPECT_EQ(alerts_of([] { db_exit("a/b.c", 7, "f"); }), "QVDEBUG (warning): min debug-out indent level reached\n");
  db_enter("b.c", 10, "g", "type: %d", 5);
  tracef("b.c", 11, "x");
  db_exit("b.c", 12, "g", "%s", "done");
  gIndentLevel = UINT32_MAX;
  EXPECT_EQ(alerts_of([] { db_enter("b.c", 13, "h"); }), "QVDEBUG (warning): max debug-out indent level readched\n");
  EXPECT_EQ(traced(),
            "b.c:7               > EXIT f()\n"
            "b.c:10              > ENTER g(type: 5)\n"
            "b.c:11              >     x\n"
            "b.c:12              > EXIT g() -> done\n"
            "b.c:13              > ENTER h()\n");
}

TEST_F(Debug, TraceFormatsOnlyTheFirstLineAndLeavesLongPositionsWhole) {
  EXPECT_EQ(alerts_of([] { tracef("dir/t.c", 3, "\n"); }),
            "QVDEBUG (warning): tracef (at dir/t.c:3) contains no lines\n");
  tracef("dir/a_rather_long_name.c", 1234, "%d%%\n\nsecond 100%%", 50);
  EXPECT_EQ(traced(), "a_rather_long_name.c:1234> 50%\na_rather_long_name.c:1234> second 100%%\n");
}

TEST_F(Debug, ArgumentsStopAtAnAbsentOneAndTheHeadingComesOnce) {
  const char* const args[] = {"cpp", nullptr, "never"};
  db_logArgs(3, args);
  db_logArgs(0, args);
  EXPECT_EQ(traced(), "\nAPP: PREPROCESSOR\nARGS: cpp\nARGS: None\n");
}

TEST_F(Debug, AssertionsDoWhatTheModeSays) {
  int tested = 0;
  const auto check = [&tested](std::uint32_t mode) {
    gAssertMode = mode;
    return alerts_of([&tested] { DB_ASSERT(++tested < 0); });
  };
  EXPECT_EQ(check(DBA_IGNORE), "");
  EXPECT_EQ(tested, 0);
  EXPECT_NE(check(DBA_WARNING).find("(1501) assertion failure: ++tested < 0 ("), std::string::npos);
  EXPECT_EQ(alert_failed(), 0);
  EXPECT_NE(check(DBA_ERROR).find("(1502) assertion failure: "), std::string::npos);
  EXPECT_EQ(alert_failed(), 1);
  gAssertMode = DBA_FATAL;
  EXPECT_EXIT(DB_ASSERT(tested < 0), testing::ExitedWithCode(1), "1503");
}

TEST_F(Debug, LostTextIsReported) {
  const char* path = nullptr;
  int error = 0;
  EXPECT_FALSE(db_lost(&path, &error));
  gFile = std::freopen("/dev/full", "w", gFile);
  db_text("gone");
  ASSERT_TRUE(db_lost(&path, &error));
  EXPECT_STREQ(path, "run.out");
  EXPECT_EQ(error, ENOSPC);
}

// ---- the package ----

static std::string finish_with(const std::string& archive) {
  write_file("p.zip", archive);
  return alerts_of(db_finish);
}

// The number of entries, or -1 if `archive` can't be read; the last one must be the debug-out file.
static int entries(const std::string& path) {
  mz_zip_archive zip = {};
  if (!mz_zip_reader_init_file(&zip, path.c_str(), 0)) return -1;
  const int count = static_cast<int>(mz_zip_reader_get_num_files(&zip));
  std::size_t size = 0;
  void* data = mz_zip_reader_extract_to_heap(&zip, static_cast<mz_uint>(count - 1), &size, 0);
  const bool whole = data != nullptr && std::string(static_cast<char*>(data), size) == content("run.out");
  std::free(data);
  mz_zip_reader_end(&zip);
  return whole ? count : -1;
}

class Package : public Debug {
 protected:
  void SetUp() override {
    Debug::SetUp();
    for (int i = 0; i < 9; i++) db_text("some text of a run, some text of a run");
    gZipPath = "p.zip";
    EXPECT_EQ(alerts_of(db_finish), "");
    gFilePath = "Run.out";  // differs in case only
    std::filesystem::copy_file("run.out", "Run.out");
    EXPECT_EQ(alerts_of(db_finish), "");
    sound = content("p.zip");
    EXPECT_EQ(entries("p.zip"), 2);
  }
  // Either the archive takes one more file, or it stays byte for byte and the warning says so.
  void expect_handled(const std::string& archive, const std::string& what) {
    const std::string alerts = finish_with(archive);
    if (alerts.empty()) {
      EXPECT_EQ(entries("p.zip"), 3) << what;
    } else {
      EXPECT_EQ(alerts,
                "QVDEBUG (warning): Unable to open package zip file (p.zip) for reading to append \"Run.out\"\n")
          << what;
      EXPECT_EQ(content("p.zip"), archive) << what;
    }
  }
  std::string sound;
};

TEST_F(Package, DamagedArchivesTakeTheFileOrStayAsTheyAre) {
  for (std::size_t size = 0; size < sound.size(); size++) {
    expect_handled(sound.substr(0, size), "cut to " + std::to_string(size));
  }
  for (std::size_t bit = 0; bit < sound.size() * 8; bit++) {
    std::string flipped = sound;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
    expect_handled(flipped, "bit " + std::to_string(bit));
  }
}

TEST_F(Package, HostileDirectoriesAreRefused) {
  const std::size_t directory = sound.find("PK\1\2");
  std::string beyond = sound;  // sizes that call for the extra field, which lies far behind the directory's end
  beyond.replace(directory + 20, 8, 8, '\xff').replace(directory + 28, 4, 4, '\xff');
  expect_handled(beyond, "extra field");
  expect_handled("no archive, but " + std::string("PK\5\6", 4) + std::string(18, '\0'), "empty directory elsewhere");
  EXPECT_EQ(content("p.zip").substr(0, 10), "no archive");
  std::filesystem::remove("p.zip");
  ASSERT_EQ(mkfifo("p.zip", 0600), 0);
  EXPECT_NE(alerts_of(db_finish), "");  // and it must not wait for a writer
}

TEST_F(Package, LargeDirectoriesAreBelievedUpToALimit) {
  const auto bytes = [](std::size_t number) { return std::string(reinterpret_cast<const char*>(&number), 4); };
  for (const std::size_t excess : {0u, 1u}) {
    const std::size_t size = (std::size_t{64} << 20) + excess;
    std::string archive;
    while (archive.size() < size) {  // 1024 entries with nothing but a name
      const std::size_t name = std::min(size - archive.size() - 46, std::size_t{65535});
      archive += "PK\1\2" + std::string(24, '\0') + bytes(name) + std::string(14 + name, '\0');
    }
    archive += "PK\5\6" + bytes(0) + bytes(1024 << 16 | 1024) + bytes(size) + std::string(6, '\0');
    EXPECT_EQ(finish_with(archive) != "", excess == 1);
    EXPECT_EQ(std::filesystem::file_size("p.zip") == archive.size(), excess == 1);
  }
}

TEST_F(Package, AbsolutePathsGoBelowAPseudoDirectory) {
  const std::string path = scratch + "/back\\slash";
  write_file(path.c_str(), "x");
  gFilePath = path.c_str();
  EXPECT_EQ(finish_with(sound), "");
  EXPECT_NE(content("p.zip").find("SYSTEM_ROOT" + scratch + "/back/slash"), std::string::npos);
}
