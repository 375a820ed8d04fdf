// The symbol table and the line source against models in a few lines of plain code, on random input.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "preprocessor/cpp6.h"

using std::string;

static std::mt19937 gRandom(1);
static unsigned below(unsigned limit) { return static_cast<unsigned>(gRandom()) % limit; }

// --- The symbol table ---

static SourceChar* widen(const string& name) {
  static SourceChar wide[IDENTIFIER_MAX + 1];
  return sc_fromNarrow(wide, name.c_str());
}

// Few letters, so that many names have the same sum; often a long common head.
static string random_name() {
  string name = below(3) == 0 ? "a_common_head_of_names_" : "";
  for (unsigned left = below(9) + 1; left > 0; left--) name += "abcAB_019$"[below(10)];
  return name;
}

static macro_def* find(string name) {
  const auto length = static_cast<std::uint32_t>(name.size());
  name.append(8, 'x');  // what stands behind a name plays no part
  return macro_find(reinterpret_cast<const unsigned char*>(name.data()), length);
}

TEST(SymbolTable, EnterUndefAndFindAgreeWithAMap) {
  std::map<string, macro_def*> entries;
  for (int step = 0; step < 40000; step++) {
    const string name = random_name(), other = random_name();
    const bool remove = below(4) < (step % 20000 < 12000 ? 1u : 3u);
    const bool known = entries.erase(name) == 1;
    if (remove) {
      ASSERT_EQ(macro_remove(widen(name)), known) << name;
    } else {
      entries[name] = macro_enter(widen(name), below(40));
    }
    ASSERT_EQ(find(other), entries.count(other) != 0 ? entries[other] : nullptr) << other;
    if (step % 500 != 0) continue;
    for (const auto& [each, its_entry] : entries) ASSERT_EQ(find(each), its_entry) << each;
  }
  ASSERT_GT(entries.size(), 1000u);
}

// --- The line source ---

static std::vector<string> model_lines(const string& text) {
  std::vector<string> lines;
  for (std::size_t at = 0, end; at < text.size(); at = end) {
    end = std::min({text.find('\n', at), at + LINE_BYTES_MAX - 1, text.size() - 1}) + 1;
    string line = text.substr(at, end - at);
    line.resize(std::min(line.find('\0'), line.size()));
    if (line.empty() || line.back() != '\n') line += '\n';
    lines.push_back(line);
  }
  return lines;
}

static string random_text() {
  static constexpr unsigned kLengths[] = {2, 9, 64, 1000, LINE_BYTES_MAX, 2 * LINE_BYTES_MAX, SOURCE_BLOCK_BYTES};
  const bool nuls = below(3) == 0;
  string text;
  for (unsigned left = below(12); left > 0; left--) {
    unsigned length = kLengths[below(7)];  // of this line, or up to a multiple of it in the file
    if (below(4) == 0) length -= static_cast<unsigned>(text.size() % length);
    for (length += below(5); length > 3; length--) text += "ab \\"[below(4)];
    if (nuls && below(2) == 0) text.insert(text.size() - below(3) % (text.size() + 1), 1, '\0');
    if (below(6) != 0) text += '\n';
  }
  return text;
}

// Each line is written over, which must not reach what lies ahead of it.
static std::vector<string> source_lines(int fd) {
  std::vector<string> lines;
  struct stat status;
  EXPECT_EQ(fstat(fd, &status), 0);
  line_source* source = source_open(fd, status);
  while (source_nextLine(source)) {
    EXPECT_EQ(*source->line_end, 0);
    lines.emplace_back(source->line, source->line_end);
    std::fill(source->line, source->line_end, '\n');
  }
  source_close(source);
  return lines;
}

TEST(LineSource, LinesAgreeWithPlainCode) {
  for (int round = 0; round < 600; round++) {
    const string text = random_text();
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::thread writer([&] {  // in pieces, so that reads end anywhere
      std::mt19937 random(static_cast<unsigned>(round));
      for (std::size_t at = 0, piece; at < text.size(); at += piece) {
        piece = std::min<std::size_t>(random() % 70000 + 1, text.size() - at);
        if (write(ends[1], text.data() + at, piece) != static_cast<ssize_t>(piece)) break;
      }
      close(ends[1]);
    });
    const std::vector<string> lines = source_lines(ends[0]);
    writer.join();
    ASSERT_TRUE(lines == model_lines(text)) << "round " << round << ", " << text.size() << " bytes";
  }
}
