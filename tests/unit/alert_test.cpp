// The formatter of message texts against snprintf, the reading of catalogues, and the lines that an
// alert prints at the limits of its buffers. Messages as users see them: tests/cases.
#include "common/alert.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "common/catalogue.h"

namespace {

template <class... A>
std::string formatted(std::uint32_t size, const std::string& format, A... args) {
  std::vector<char> out(size, '#');
  const alert_arg list[] = {alert_arg(args)..., alert_arg()};
  const std::uint32_t length = alert_format(out.data(), size, format.c_str(), list, sizeof...(args));
  EXPECT_LT(length, size);
  EXPECT_EQ(out[length], 0);
  return std::string(out.data(), length);
}

template <class T>
void expect_as_printf(const std::string& format, T value) {
  char expected[256];
  for (const std::uint32_t size : {256u, 7u, 1u}) {
    const int length = std::snprintf(expected, size, format.c_str(), value);
    const auto stored = std::min(static_cast<std::uint32_t>(length), size - 1);
    EXPECT_EQ(formatted(size, format, value), std::string(expected, stored)) << format << " of " << value;
  }
}

TEST(AlertFormat, CorrectTextsPrintAsPrintf) {
  for (unsigned mask = 0; mask < 32; mask++) {
    std::string flags;
    for (unsigned bit = 0; bit < 5; bit++) {
      if (mask & (1u << bit)) flags += "-+ 0#"[bit];
    }
    for (const char* width : {"", "1", "5", "13"}) {
      for (const char* precision : {"", ".", ".0", ".2", ".6", ".12"}) {
        const std::string spec = "<%" + flags + width + precision;
        for (const int value : {0, 7, -7, 123456, INT_MAX, INT_MIN}) {
          expect_as_printf(spec + "d>", value);
          expect_as_printf(spec + "u>", static_cast<unsigned>(value));
          expect_as_printf(spec + "x>", static_cast<unsigned>(value));
          expect_as_printf(spec + "o>", static_cast<unsigned>(value));
          expect_as_printf(spec + "X>%%", static_cast<unsigned>(value));
        }
        for (const char* text : {"", "abc", "a longer text", static_cast<const char*>(nullptr)}) {
          if ((mask & ~1u) == 0) expect_as_printf(spec + "s>", text);
        }
        if ((mask & ~1u) == 0) expect_as_printf(spec + "c>", '\xe9');
      }
    }
  }
}

TEST(AlertFormat, IndexedConversionsPrintAsPrintf) {
  for (const char* format : {"%2$s|%1$d%3$u%%%2$.2s%1$+5d", "%1$d%1$d|%3$#o", "%2$-6s|%1$06d|%03$X%1$ 4d%%%02$.s"}) {
    char expected[256];
    std::snprintf(expected, sizeof expected, format, -42, "word", 77u);
    EXPECT_EQ(formatted(256, format, -42, "word", 77u), expected) << format;
  }
  const auto two = [](const char* format) { return formatted(64, format, "one", 2); };
  EXPECT_EQ(two("%2$d %1$s %s %-5d %%"), "2 one %s %-5d %");
  EXPECT_EQ(two("%5$y %y %$s %s %2$05.3d %d %1$s"), "%5$y %y %$s one %2$05.3d 2 %1$s");
  EXPECT_EQ(two("%0$s %3$s %4294967297$s %1$s %s"), "%0$s %3$s %4294967297$s one %s");
  EXPECT_EQ(two("%1$n %2$*1$d %1$% %-1$s|%1$"), "%1$n %2$*1$d % %-1$s|%1$");
}

TEST(AlertFormat, WrongTextsShowWhatMakesSense) {
  const char* const word = "word";
  EXPECT_EQ(formatted(64, "%s %5s|%-5s|%.1s", -3, 4u, 'c', 777), "-3     4|c    |777");
  EXPECT_EQ(formatted(64, "%d %u %x %c", word, word, word, word), "word word word word");
  EXPECT_EQ(formatted(64, "%s %s %d", word), "word %s %d");
  EXPECT_EQ(formatted(64, "%n%p%*d%y%-08.3k%s", word), "%n%p%*d%y%-08.3kword");
  EXPECT_EQ(formatted(64, "%ld %hhu %zx", -1, 2u, 255u), "-1 2 ff");
  EXPECT_EQ(formatted(64, "%99999999999999999999d%.99999999999s%-9999x", 5, word, 10u), "5worda");
  for (const char* end : {"%", "%-", "%5", "%5.", "%5.3", "%l", "%#0+ "}) {
    EXPECT_EQ(formatted(64, std::string("x") + end, word), std::string("x") + end);
  }
  EXPECT_EQ(formatted(5, "%300s", word), "    ");
}

// A file that goes when the test ends.
struct temp_file {
  explicit temp_file(const std::string& bytes) : path(testing::TempDir() + "alert_test." + std::to_string(getpid())) {
    std::ofstream(path, std::ios::binary) << bytes;
  }
  ~temp_file() { unlink(path.c_str()); }
  std::string path;
};

std::string text_of(catalogue* c, unsigned number) {
  alert_row row;
  char text[CATALOGUE_LINE_MAX + 1];
  if (!catalogue_find(c, number, &row, text)) return "none";
  EXPECT_EQ(row.number, number);
  return std::to_string(row.cls) + "/" + std::to_string(row.level) + "/" + row.text;
}

class Catalogue : public testing::Test {
 protected:
  void SetUp() override { alert_init(); }
};

struct catalogue_case {
  std::string bytes;
  std::vector<int> reported;  // line numbers
  std::vector<std::pair<unsigned, std::string>> rows;
};

TEST_F(Catalogue, LinesAreReadAsTold) {
  const std::string fill(241, 'x');
  const std::string long_line = "12 E " + fill + "123456789";  // 255 bytes
  const catalogue_case cases[] = {
      {"#c\n12 E text\n 013\t\tm  two \n14 -3 w\n15 9f w",
       {},
       {{12, "3/0/text"}, {13, "2/0/ two "}, {14, "4/-3/w"}, {15, "4/9/w"}}},
      {"12\n12 \n\n \t\n12 E\n12 E \n12 E  \n", {1, 2, 2, 3, 4, 5, 6}, {{12, "3/0/ "}}},
      {"12 X text\n13 - t\n14 X\n", {1, 3, 3}, {{12, "0/0/text"}, {13, "4/0/t"}, {14, "none"}}},
      {"20000 E t\n-1 E t\n4294967297 E t\n10000 F t\n-0 E z\n",
       {1, 2, 3},
       {{10000, "1/0/t"}, {0, "3/0/z"}, {1, "none"}}},
      {"12 E a\n12 0 b\n", {}, {{12, "4/0/b"}}},
      {"12 E t\r\n\r\n", {2}, {{12, "3/0/t\r"}}},
      {std::string("12 E a\0b\n\0\n13 E c\n", 18), {2}, {{12, "3/0/a"}, {13, "3/0/c"}}},
      {long_line + "\n13 E t\n", {2}, {{12, "3/0/" + fill + "123456789"}, {13, "3/0/t"}}},
      {long_line + "14 E u\n13 E t", {}, {{12, "3/0/" + fill + "123456789"}, {14, "3/0/u"}, {13, "3/0/t"}}},
      {"", {}, {{12, "none"}}},
  };
  for (const catalogue_case& c : cases) {
    const temp_file file(c.bytes);
    std::string expected;
    for (const int line : c.reported) {
      expected += "Malformed error information on line " + std::to_string(line) + ", in file " + file.path + "\n\n";
    }
    testing::internal::CaptureStderr();
    catalogue* read = alert_readCatalogue(file.path.c_str());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), expected) << c.bytes;
    for (const auto& [number, text] : c.rows) EXPECT_EQ(text_of(read, number), text) << c.bytes;
  }
  EXPECT_EQ(alert_readCatalogue(testing::TempDir().c_str()), nullptr);
}

// The table's rows are found without reading it whole, which relies on its form.
TEST_F(Catalogue, TheEmbeddedTableReadsLikeAnyFile) {
  const std::string table(gCatalogueTable, gCatalogueTableSize);
  std::vector<std::string> rows[2];
  for (const bool as_table : {true, false}) {
    const temp_file file(as_table ? table : table + "#\n");
    testing::internal::CaptureStderr();
    catalogue* read = alert_readCatalogue(file.path.c_str());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    for (unsigned number = 0; number <= ALERT_NUMBER_MAX + 1; number++) {
      rows[as_table].push_back(text_of(read, number));
    }
  }
  EXPECT_EQ(rows[true], rows[false]);
  EXPECT_EQ(std::count(rows[true].begin(), rows[true].end(), "none"), ALERT_NUMBER_MAX + 2 - 1266);
}

class AlertLine : public testing::Test {
 protected:
  void SetUp() override { alert_init(); }
  void TearDown() override { alert_setPosition(nullptr, nullptr, nullptr, nullptr, nullptr); }

  // What the warning `text` prints `column` bytes into `source`, the last line of file F.
  static std::string shown(const std::string& source, std::size_t column, const std::string& text) {
    static const SourceChar file[] = {'F', 0};
    static const std::uint32_t number = 4000000000u;
    const auto* start = reinterpret_cast<const unsigned char*>(source.data());
    const unsigned char* end = start + source.size();
    const unsigned char* position = start + column;
    alert_setPosition(file, &number, &start, &end, &position);
    gAlertEchoed = false;
    testing::internal::CaptureStderr();
    alert_unnumbered("0", "%s", text.c_str());
    return testing::internal::GetCapturedStderr();
  }
};

TEST_F(AlertLine, CaretStandsUnderTheLastByteRead) {
  shown("x\n", 1, "heading");
  const std::string echo = "-294967296:\t";  // an echo's number is signed, a prefix's is not
  EXPECT_EQ(shown("\ta\xe9z\n", 3, "text of t"), echo + "\ta\xe9z\n\t         ^ (0) text of t (warning)\n");
  EXPECT_EQ(shown("abcdefg\n", 7, "t"), echo + "abcdefg\n\t      ^ (0) t (warning)\n");
  EXPECT_EQ(shown("abcdefgh\n", 8, "t"), echo + "abcdefgh\n\t (0) t ^ (warning)\n");
  EXPECT_EQ(shown("abc\n", 0, "t"), "F: 4000000000: (0) t (warning)\n");
}

TEST_F(AlertLine, LinesAreCutWhereTheirBuffersEnd) {
  const std::string text(600, 't');
  EXPECT_EQ(shown("a\n", 0, text), "F: 4000000000: (0) " + text.substr(0, 506) + " (warning)\n");
  const std::string source(9000, ' ');
  EXPECT_EQ(shown(source + "\n", 9000, "t").substr(9013), "\t" + std::string(8189, ' ') + "\n");
  testing::internal::CaptureStderr();
  alert_raw("%s%s", std::string(8000, 'r').c_str(), text.c_str());
  EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(8000, 'r') + text.substr(0, 190) + "\n");
}

}  // namespace
