// The ways of the block search against the plainest of them, on random bytes in which everything that matters abounds.
#include "preprocessor/blockscan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

// All that one way tells of a text.
static std::string search(block_way way, std::string text, std::size_t from, std::size_t length) {
  block_choose(way);
  auto* start = reinterpret_cast<unsigned char*>(text.data());
  const text_masks m = block_textMasks(start + from);
  bool ended;
  const block_pass comment = block_comment(start + from, start + from + length, &ended);
  const block_pass skipped = block_skipped(start, start + from, start + from + length);
  std::string of;
  for (byte_mask mask : {m.word, m.digit, m.dot, m.blank, m.newline, m.stop}) of += std::to_string(mask) + ' ';
  for (const block_pass& pass : {comment, skipped}) {
    of += std::to_string(pass.at - start) + ' ' + std::to_string(pass.lines) + ' ';
    of += std::to_string(pass.line == nullptr ? -1 : pass.line - start) + ' ';
  }
  return of + std::to_string(ended) + ' ' + std::to_string(block_literalStop(start + from) - start) + ' ' +
         std::to_string(block_lineStop(start + from) - start);
}

TEST(BlockScan, AllWaysTellTheSame) {
  std::mt19937 random(1);
  const std::string common = " \t\n\v\f\r\x1f\x1d/*?#\\\"'._$09azAZ@[`{:\x7f\x80\xff";
  for (int round = 0; round < 20000; round++) {
    std::string text(400, 'x');
    for (char& c : text)
      c = random() % 3 == 0 ? static_cast<char>(random() % 255 + 1) : common[random() % common.size()];
    if (round % 2 == 0)
      std::replace_if(
          text.begin(), text.end(), [&](char) { return random() % 8 != 0; }, 'x');
    text.append(BLOCK_SLACK, '\n');
    const std::size_t from = random() % 100, length = random() % 300;
    const std::string plain = search(BLOCK_BYTES, text, from, length);
    for (int way = BLOCK_SSE2; way <= block_widest(); way++) {
      ASSERT_EQ(search(static_cast<block_way>(way), text, from, length), plain) << way << ' ' << round;
    }
  }
}
