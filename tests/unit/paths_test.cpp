// Path text, temporary files, the argument file, and the installation tree with its traces.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "common/osdep.h"
#include "common/qvdebug.h"
#include "common/qvinstdir.h"
#include "common/registry.h"
#include "common/stringcache.h"

namespace fs = std::filesystem;

// A new string of the platform layer as text; "-" for absent.
static std::string take(char* text) {
  const std::string result = text ? text : "-";
  std::free(text);
  return result;
}

TEST(Paths, Text) {
  const char* kRows[][4] = {
      // path, base name, stem, directory
      {"a", "a", "a", "-"},    {"a/b/c", "c", "c", "a/b"}, {"b.tar.gz", "b.tar.gz", "b.tar", "-"},
      {"a/b/", "", "", "a/b"}, {"/x", "x", "x", ""},       {"a.b/c", "c", "c", "a.b"},
      {".x", ".x", "", "-"},   {"a//b", "b", "b", "a/"},   {"a/b.c", "b.c", "b", "a"},
  };
  for (const auto& [path, base, stem, directory] : kRows) {
    EXPECT_EQ(take(osdep_baseNameDup(path)), base) << path;
    EXPECT_EQ(take(osdep_stem(path)), stem) << path;
    EXPECT_EQ(take(osdep_dirName(path)), directory) << path;
  }
  for (const char* directory : {"a", "a/"}) {
    for (const char* name : {"b", "/b"}) EXPECT_EQ(take(osdep_joinPath(directory, name)), "a/b");
  }
  EXPECT_EQ(take(osdep_joinPath("/", "b")) + take(osdep_joinPath("", "b")), "/b-");
}

TEST(Paths, TemporaryFilesDifferAndVanishWithTheProcess) {
  const std::string list = testing::TempDir() + "temporary_files";
  const auto work = [&list] {
    const std::string file = take(osdep_tempName()), folder = take(osdep_tempName());
    std::ofstream(list) << file << '\n' << folder << '\n' << fs::file_size(file) << '\n';
    fs::remove(folder);
    fs::create_directories(folder + "/sub/deeper");
    std::exit(0);
  };
  EXPECT_EXIT(work(), testing::ExitedWithCode(0), "");
  std::string file, folder, size;
  std::ifstream(list) >> file >> folder >> size;
  fs::remove(list);
  EXPECT_EQ(file.substr(0, 8) + size, "/tmp/qvX0");
  EXPECT_EQ(file.size(), std::strlen("/tmp/qvXXXXXXX"));
  EXPECT_NE(file, folder);
  EXPECT_FALSE(osdep_exists(file.c_str()) || osdep_exists(folder.c_str()));
}

TEST(Paths, ATemporaryFileHasNoName) {
  char path[sizeof OSDEP_TEMP_TEMPLATE], byte = 'x';
  const int file = osdep_tempFile(path);
  EXPECT_FALSE(osdep_exists(path)) << path;
  EXPECT_TRUE(write(file, &byte, 1) == 1 && pread(file, &byte, 1, 0) == 1 && pread(file, &byte, 1, 1) == 0) << path;
  close(file);
}

// The words that an argument file of this text gives, each in brackets.
static std::string read_words(const std::string& text) {
  const std::string name = take(osdep_tempName());
  std::ofstream(name) << text;
  EXPECT_NE(std::freopen(name.c_str(), "r", stdin), nullptr);
  char** entries = osdep_readArgs("cpp");
  EXPECT_STREQ(entries[0], "cpp");
  EXPECT_EQ(entries[gArgCount], nullptr);
  std::string words;
  for (int i = 1; entries[i]; i++) words += std::string("[") + entries[i] + "]";
  return words;
}

TEST(ArgumentFile, Words) {
  const std::string full(2047, 'w');
  const std::pair<std::string, std::string> kRows[] = {
      {"", ""},
      {"-DX=1 in.c  out.i", "[-DX=1][in.c][][out.i]"},
      {"a\n\nb \nc", "[a][][b][][c]"},
      {"\"a b\" a\\ b a\\b a\\\\b", "[a b][a b][a\\b][a\\b]"},
      {"'it\"s' \"it's\" \\'x\\\" \"\\\"\"", "[it\"s][it's]['x\"][\"]"},
      {"\"a\tb c\" d\n\"e\nf g", "[a][b c][d][e][f][g]"},
      {"a\\\tb a\\\nb a\\\\\\ b", "[a][\\b][a][b][a\\ b]"},
      {full + " b\n", "[" + full + "][b]"},
      {"a " + full + "w b\nc\n", "[a][" + full + "][c]"},
      {full + "\\b c\nd", "[" + full + "][d]"},
  };
  testing::internal::CaptureStderr();
  for (const auto& [text, words] : kRows) EXPECT_EQ(read_words(text), words) << text;
  EXPECT_NE(testing::internal::GetCapturedStderr().find("argument too long"), std::string::npos);
}

TEST(ArgumentFile, HasNoUpperLimit) {
  std::string text, words;
  for (int i = 0; i < 5000; i++) {
    text += std::to_string(i) + (i % 3 ? "\n" : "\t");
    words += "[" + std::to_string(i) + "]";
  }
  EXPECT_EQ(read_words(text), words);
}

// An installation tree in a folder of its own.
class Installation : public testing::Test {
 protected:
  const std::string root_ = take(osdep_tempName());

  void SetUp() override {
    fs::remove(root_);
    fs::create_directories(root_ + "/1.0/tnk");
    fs::create_directories(root_ + "/2.0");
  }
  void TearDown() override { qvinstall_ver = qvinstall_dir = gCStdLib = nullptr; }

  // Derives the paths anew; a place that begins with `/` lies below the root.
  void derive(const std::string& program) {
    qvinstall_ver = qvinstall_dir = nullptr;
    set_qvinstall_pathsFrom(program[0] == '/' ? (root_ + program).c_str() : program.c_str());
  }

  // The trace that `call` writes, without positions, with % for the root.
  template <class Call>
  std::string trace(std::uint32_t flags, Call call) {
    gFile = std::tmpfile();
    gDebugFlags = flags;
    call();
    gDebugFlags = 0;
    EXPECT_EQ(gIndentLevel, 0u);
    std::rewind(gFile);
    std::string result;
    for (char line[1000]; std::fgets(line, sizeof line, gFile);) result += std::strchr(line, '>') + 2;
    std::fclose(gFile);
    gFile = nullptr;
    for (std::size_t at; (at = result.find(root_)) != std::string::npos;) result.replace(at, root_.size(), "%");
    return result;
  }
};

TEST_F(Installation, PlacesOfTheProgram) {
  const std::pair<const char*, const char*> kRows[] = {
      {"/1.0/tnk/bin/cpp", "/1.0"},  {"/1.0/TNK/Bin/cpp", "/1.0"},     {"/1.0/tnk-as/bin/cpp", "/1.0"},
      {"/1.0/bin/cpp", "/1.0"},      {"/1.0/tnk.old/bin/cpp", "/1.0"}, {"/1.0/bin/./cpp", "/1.0"},
      {"/1.0/rsk/bin/cpp", nullptr}, {"/2.0/tnk/bin/cpp", nullptr},    {"/1.0/tnk/sbin/cpp", nullptr},
  };
  for (const auto& [program, version] : kRows) {
    derive(program);
    EXPECT_EQ(qvinstall_ver ? qvinstall_ver : "-", version ? root_ + version : "-") << program;
    EXPECT_EQ(qvinstall_dir ? qvinstall_dir : "-", version ? root_ : "-") << program;
  }
}

TEST_F(Installation, DirectoriesByRowAndType) {
  derive("/1.0/bin/cpp");
  EXPECT_EQ(qvinstdir(QVINSTDIR_DIR), root_);
  EXPECT_EQ(qvinstdir(QVINSTDIR_TNK_AS), root_ + "/1.0/tnk-as");
  EXPECT_EQ(reg_instdir(REG_INSTALL), root_ + "/1.0/tnk");
  EXPECT_EQ(reg_instdir(REG_INC_STD), root_ + "/1.0/tnk/include");
  reg_set_c_stdlib("c90");
  EXPECT_EQ(reg_instdir(REG_INC_STD), root_ + "/1.0/tnk/include/c90");
  EXPECT_EQ(reg_mkpath(REG_DAT, "en_msgs.txt"), root_ + "/1.0/tnk/dat/en_msgs.txt");
}

TEST_F(Installation, TraceOfTheDerivation) {
  const std::string kExit = "EXIT set_qvinstall_paths()", kError = kExit + " -> ERROR - ";
  const std::string kFrom = "    Application appears to be running from directory: \"";
  const struct {
    const char* program;
    std::string trace;
  } kRows[] = {
      {"cpp", kError + "couldn't get a path based on progname\n"},
      {"./cpp", kFrom + "\"\n" + kError + "couldn't get a basename from the path: \"\"\n"},
      {"bin/cpp", kFrom + "bin\"\n" + kError + "path not deep enough?\n"},
      {"/1.0/cpp", kFrom + "%/1.0\"\n" + kError + "the application is not running from a 'bin' directory\n"},
      {"/2.0/Tnk-AS/bin/cpp", kFrom + "%/2.0/Tnk-AS/bin\"\n" +
                                  "    Identified as running from the 'tnk-as' directory: \"%/2.0/Tnk-AS\"\n"
                                  "    The 'tnk' directory could not be found: \"%/2.0/tnk\"\n" +
                                  kExit + "\n"},
      {"/1.0/tnk/bin/cpp", kFrom + "%/1.0/tnk/bin\"\n" +
                               "    Identified as running from the 'tnk' directory: \"%/1.0/tnk\"\n"
                               "    Identified 'tnk' directory: \"%/1.0/tnk\"\n"
                               "    qvinstall_ver has been set to: \"%/1.0\"\n"
                               "    qvinstall_dir has been set to: \"%\"\n" +
                               kExit + "\n"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(trace(DBF_ON, [&] { derive(row.program); }), "ENTER set_qvinstall_paths()\n" + row.trace);
  }
}

TEST_F(Installation, TraceOfTheRegistry) {
  derive("/1.0/tnk/bin/cpp");
  gCStdLib = cache_intern("c90");
  const auto calls = [] {
    reg_mkpath(REG_LIB, "x.a");
    reg_mkpath(REG_LIB, "/x");
    reg_instdir(REG_INSTALL);
    qvinstdir(QVINSTDIR_DIR);
    qvinstdir(QVINSTDIR_VER);
  };
  EXPECT_EQ(trace(DBF_ALERTS, calls),
            "ENTER reg_mkpath(type: 2, name: \"x.a\")\n"
            "    ENTER reg_instdir()\n"
            "        ENTER qvinstdir()\n"
            "        EXIT qvinstdir() -> Returning concatenation of \"%/1.0\" and \"tnk\"\n"
            "        ENTER reg_create_path()\n"
            "        EXIT reg_create_path()\n"
            "        ENTER reg_path_mods()\n"
            "        EXIT reg_path_mods() -> Returning concatenation of path: \"%/1.0/tnk/lib\" and \"c90\"\n"
            "    EXIT reg_instdir()\n"
            "EXIT reg_mkpath() -> Returning path: \"%/1.0/tnk/lib/c90/x.a\"\n"
            "ENTER reg_mkpath(type: 2, name: \"/x\")\n"
            "EXIT reg_mkpath() -> Returning absolute path: \"/x\"\n"
            "ENTER reg_instdir()\n"
            "    ENTER qvinstdir()\n"
            "    EXIT qvinstdir() -> Returning concatenation of \"%/1.0\" and \"tnk\"\n"
            "EXIT reg_instdir() -> Returning installation directory: \"%/1.0/tnk\"\n"
            "ENTER qvinstdir()\n"
            "EXIT qvinstdir() -> Returning install directory: \"%\"\n"
            "ENTER qvinstdir()\n"
            "EXIT qvinstdir() -> Returning ver directory: \"%/1.0\"\n");
}
