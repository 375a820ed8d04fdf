// The containers' contracts: sort, hash table, vector, object cache and string cache.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "common/freecache.h"
#include "common/hash.h"
#include "common/osdep.h"
#include "common/qvdebug.h"
#include "common/stringcache.h"
#include "common/vector.h"

// What an operation writes to the debug-out file.
static std::string debug_text(void (*operation)()) {
  gFile = std::tmpfile();
  operation();
  std::rewind(gFile);
  std::string text(65536, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), gFile));
  std::fclose(gFile);
  gFile = nullptr;
  return text;
}

static int gComparisons;

static int compare_firstByte(const void* a, const void* b) {
  gComparisons++;
  return *static_cast<const unsigned char*>(a) - *static_cast<const unsigned char*>(b);
}

TEST(Sort, OrdersElementsOfAnySizeAndKeepsThemWhole) {
  std::mt19937 random(1);
  const auto above = [](const std::string& a, const std::string& b) { return compare_firstByte(&a[0], &b[0]) > 0; };
  for (std::size_t size : {1u, 8u, 799u, 800u}) {
    for (std::size_t count : {0u, 1u, 2u, 3u, 10u, 1000u}) {
      std::vector<std::string> before(count, std::string(size, '\0')), after;
      std::string array;
      for (auto& element : before) {
        for (char& byte : element) byte = static_cast<char>(random() % 40);
        array += element;
      }
      osdep_qsort(array.data(), count, size, compare_firstByte);
      for (std::size_t i = 0; i < count; i++) after.push_back(array.substr(i * size, size));
      EXPECT_EQ(std::adjacent_find(after.begin(), after.end(), above), after.end()) << count << " of " << size;
      EXPECT_TRUE(std::is_permutation(after.begin(), after.end(), before.begin())) << count << " of " << size;
    }
  }
}

TEST(Sort, OrderOfEqualElementsIsTheOneOfTheSteps) {
  const std::pair<std::string, std::string> kRows[] = {// elements of two bytes, the first is the key
                                                       {"1a1b", "1b1a"},
                                                       {"1a1b1c", "1c1b1a"},
                                                       {"1a1b1c1d", "1c1d1a1b"},
                                                       {"2a1b2c1d", "1d1b2a2c"}};
  for (const auto& [input, output] : kRows) {
    std::string array = input;
    osdep_qsort(array.data(), array.size() / 2, 2, compare_firstByte);
    EXPECT_EQ(array, output) << input;
  }
}

TEST(Sort, RunsOfOrderedOrEqualElementsAreNotSlow) {
  for (const auto shape :
       {+[](int i) { return i / 400; }, +[](int i) { return 250 - i / 400; }, +[](int) { return 7; }}) {
    std::string array;
    for (int i = 0; i < 100000; i++) array += static_cast<char>(shape(i));
    gComparisons = 0;
    osdep_qsort(array.data(), array.size(), 1, compare_firstByte);
    EXPECT_LT(gComparisons, 4000000);
  }
}

TEST(Hash, AgreesWithAModel) {
  std::mt19937 random(2);
  for (std::uint32_t size : {1u, 13u, 237u}) {
    hash_table* table = hash_new_func(size, hash_string, hash_stringCompare);
    std::unordered_map<std::string, Word> model;
    for (Word i = 1; i <= 2000; i++) {
      const char* name = cache_printf("k%d", static_cast<int>(random() % 900));
      EXPECT_EQ(hash_insert_func(table, to_word(name), i), model.emplace(name, i).second ? 1 : 0);
    }
    EXPECT_EQ(table->count, model.size());
    for (int i = 0; i < 1000; i++) {
      const std::string name = "k" + std::to_string(i);
      EXPECT_EQ(hash_lookup(table, to_word(name.c_str())), model.count(name) ? model[name] : 0);
    }
  }
}

TEST(Hash, WalksInOrderOfInsertionUntilToldToStop) {
  const auto collect = [](void* context, Word key, Word value) {
    *static_cast<std::string*>(context) += std::to_string(key);
    return static_cast<int>(value);
  };
  std::string seen;
  hash_table* table = hash_new_func(2, nullptr, nullptr);
  EXPECT_EQ(hash_foreach(table, &seen, collect), 0);
  for (Word key : {4u, 3u, 2u, 1u}) hash_insert_func(table, key, 0);
  EXPECT_EQ(hash_foreach(table, &seen, collect), 0);
  hash_insert_func(table, 6, 17);
  EXPECT_EQ(hash_foreach(table, &seen, collect), 17);
  EXPECT_EQ(seen, "4231426");
}

TEST(Hash, AFullTableKeepsItsOrderAndFigures) {
  constexpr std::uint32_t SIZE = 7;
  hash_track(true);
  hash_table* table = hash_new_func(SIZE, nullptr, nullptr);
  hash_track(false);
  std::mt19937 random(3);
  std::array<std::vector<Word>, SIZE> chains;
  std::uint32_t count = 0, clashes = 0;
  for (int i = 0; i < 3000; i++) {
    const Word key = random() % 2000;
    std::vector<Word>& chain = chains[key % SIZE];
    const bool is_new = std::find(chain.begin(), chain.end(), key) == chain.end();
    ASSERT_EQ(hash_insert_func(table, key, key + 1), is_new ? 1 : 0);
    if (!is_new) continue;
    clashes += static_cast<std::uint32_t>(chain.size());
    chain.push_back(key);
    count++;
  }
  std::vector<Word> expected, seen;
  for (const std::vector<Word>& chain : chains) expected.insert(expected.end(), chain.begin(), chain.end());
  hash_foreach(table, &seen, [](void* context, Word key, Word) {
    static_cast<std::vector<Word>*>(context)->push_back(key);
    return 0;
  });
  EXPECT_EQ(seen, expected);
  for (Word key = 0; key < 2100; key++) {
    const bool known = std::find(seen.begin(), seen.end(), key) != seen.end();
    EXPECT_EQ(hash_lookup(table, key), known ? key + 1 : 0);
  }
  EXPECT_EQ(table->record->clashes, clashes);
  EXPECT_EQ(table->record->max_usage, count);
  EXPECT_EQ(table->record->max_util, SIZE);
  gHashRecords = nullptr;
}

TEST(Hash, ReadyMadeOperations) {
  const auto text = [](const char* s) { return to_word(s); };
  EXPECT_EQ(hash_string(text("ab")), (5381u * 33 + 'a') * 33 + 'b');
  EXPECT_EQ(hash_string(text("\xff")), 5381u * 33 - 1);
  EXPECT_EQ(hash_stringNoCase(text("aBZ\xc0")), hash_string(text("abz\xc0")));
  EXPECT_EQ(hash_stringCompare(text("a\xff"), text("a")), 0xff);
  EXPECT_EQ(hash_stringCompareNoCase(text("QvDebug"), text("qVdEBUG")), 0);
  EXPECT_EQ(hash_stringCompareNoCase(text("aB"), text("A_")), 'b' - '_');
  const alert_key key = {7, 2, "f"};
  EXPECT_EQ(hash_alertKey(to_word(&key)), (5381u * 33 + 'f') ^ 0x20000u ^ 7u);
  const alert_key far = {7, 2 + 65536, "f"};
  EXPECT_EQ(hash_alertKey(to_word(&far)), hash_alertKey(to_word(&key)));
  EXPECT_NE(hash_spreadAlertKey(to_word(&far)), hash_spreadAlertKey(to_word(&key)));
  EXPECT_NE(hash_spreadString(text("bA")), hash_spreadString(text("ab")));
}

TEST(Hash, ReportOfTheTrackedTables) {
  vec_track(true);
  hash_track(true);
  hash_table* calm = hash_new_func(8, nullptr, hash_keyCompare, "calm.c", 1);
  hash_table* full = hash_new_func(1, hash_key, nullptr, "full.c", 2);
  hash_track(false);
  vec_track(false);
  for (Word key : {1u, 2u}) hash_insert_func(calm, key, 0);
  for (Word key : {1u, 2u, 3u, 3u}) hash_insert_func(full, key, 0);
  EXPECT_EQ(vec_size(gVecRecords), 1u) << "the list of tables is a vector like any other";
  EXPECT_EQ(debug_text(hash_writeMasterList),
            cache_printf("# Hash Table Master List:\n# ptr    file:line    max_util/capacity    max_usage/capacity    "
                         "clashes    voidcmp    voidhash    alive\n"
                         "# %p    full.c:2    1/1    3/1    3    Y    n    Y\n"
                         "# %p    calm.c:1    2/8    2/8    0    n    Y    Y\n",
                         static_cast<void*>(full), static_cast<void*>(calm)));
}

TEST(Vector, GrowsByDoublingFromItsInitialCapacity) {
  vector* v = vec_new_func();
  EXPECT_EQ(v->data, nullptr);
  for (Word i = 0; i < 11; i++) vec_add(v, i);
  EXPECT_EQ(v->capacity, 20u);
  vector* copy = vec_copy_func(v);
  while (vec_size(v)) vec_pop(v);
  EXPECT_EQ(vec_top(v) + vec_pop(v), 0u);
  EXPECT_EQ(vec_top(copy), 10u);
  vec_setAt(v, 5, 100);
  EXPECT_EQ(v->capacity, 160u);
  EXPECT_EQ(vec_elementAt(v, 3) + vec_elementAt(v, 99) + vec_elementAt(v, 101), 0u);
  EXPECT_EQ(vec_elementAt(v, 100), 5u);
  vec_destroy(v);
  vec_destroy(copy);
}

TEST(Vector, LoopsNestAndSurviveRemoval) {
  const char* kSeen[] = {"12345", "12345", "12345", "1235", "1234"};  // by the index removed at the third element
  for (std::uint32_t removed = 0; removed < 5; removed++) {
    vector* v = vec_new_func();
    for (Word i = 1; i <= 5; i++) vec_add(v, i);
    std::string seen;
    vec_iterStart(v);
    while (vec_iterDone(v, vec_iterHasNext(v))) {
      const Word element = vec_iterNext(v);
      seen += std::to_string(element);
      if (element == 3) vec_removeAt(v, removed);
      std::uint32_t inner = 0;
      vec_iterStart(v);
      while (vec_iterDone(v, vec_iterHasNext(v))) inner += vec_iterNext(v) != 0;
      EXPECT_EQ(inner, vec_size(v));
    }
    EXPECT_EQ(v->iterators, nullptr);
    EXPECT_EQ(seen, kSeen[removed]);
    vec_destroy(v);
  }
  vec_iterStart(nullptr);
  EXPECT_FALSE(vec_iterDone(nullptr, vec_iterHasNext(nullptr)));
}

TEST(Vector, ReportOfTheTrackedVectors) {
  vec_track(true);
  vec_removeAll(gVecRecords);
  vector* older = vec_new_func("a.c", 5);
  vector* small = vec_newSized_func(2, "b.c", 6);
  vector* younger = vec_new_func("a.c", 5);
  vec_track(false);
  for (vector* v : {older, older, small, younger}) vec_add(v, 1);
  vec_pop(older);
  vector* copy = vec_copy_func(younger, "c.c", 7);
  vec_destroy(younger);
  EXPECT_EQ(
      debug_text(vec_writeMasterList),
      cache_printf("# Living Vector Master List:\n# ptr    file:line    max_count/capacity    alive\n"
                   "# %p    c.c:7    1/10    Y\n# %p    a.c:5    2/10    Y\n# %p    b.c:6    1/2    Y\n"
                   "# Vector Master List Summary:\n"
                   "#%65s Living              Dead                Total\n"
                   "#%31s file:line                         vectors/capacity    vectors/capacity    vectors/capacity\n"
                   "#                                 b.c:6                            1/2    0/0    1/2\n"
                   "#                                 c.c:7                            1/10    0/0    1/10\n"
                   "#                                 a.c:5                            1/10    1/10    2/20\n"
                   "#                       Total Summary:0                            3/22    1/10    4/32\n",
                   static_cast<void*>(copy), static_cast<void*>(older), static_cast<void*>(small), "", ""));
}

TEST(Containers, MisuseIsStoppedByAnAssertion) {
  EXPECT_DEATH(vec_add(nullptr, 0), "Assertion failed: p != NULL \\(.*vector.cpp: vec_add: [0-9]+\\)\n");
  EXPECT_DEATH(vec_iterNext(vec_new_func()), "Assertion failed: p->iterator != NULL ");
  EXPECT_DEATH(vec_iterDone(nullptr, true), "Assertion failed: more == 0 ");
  EXPECT_DEATH(hash_new_func(0, nullptr, nullptr), "Assertion failed: size != 0 ");
  EXPECT_DEATH(freecache_new(4, 1), "Assertion failed: obj_size >= sizeof \\(void\\*\\) ");
}

TEST(Containers, StorageBeyondTheAllocatorsRangeEndsTheRun) {
  EXPECT_EXIT(vec_setAt(vec_new_func(), 1, UINT32_MAX), testing::ExitedWithCode(1), "out of memory");
}

TEST(FreeCache, GivesTheLastReleasedObjectZeroed) {
  freecache* fc = freecache_new(24, 1);
  auto* object = static_cast<char*>(freecache_get(fc));
  void* other = freecache_get(fc);
  std::memset(object, 0xee, 24);
  EXPECT_EQ(freecache_add(fc, object), 1u);
  EXPECT_EQ(freecache_add(fc, other), 0u);
  EXPECT_EQ(freecache_get(fc), object);
  EXPECT_EQ(std::string(object, 24), std::string(24, '\0'));
}

TEST(StringCache, EqualTextGivesOneReference) {
  char first[] = "equal text", second[] = "equal text";
  const char* interned = cache_intern(first);
  EXPECT_NE(interned, first);
  for (const char* same : {cache_intern(second), cache_internN("equal text and more", 10), cache_lower("EQUAL TEXT"),
                           cache_printf("%s %c%s", "equal", 't', "ext"), cache_concat("equal", " text")}) {
    EXPECT_EQ(same, interned);
  }
  EXPECT_STREQ(cache_translate("eqUal-tZxt", "UZ-e-", "uX_e "), "equal tXxt");
  EXPECT_STREQ(cache_upper("a\xe4z{`"), "A\xe4Z{`");
  EXPECT_EQ(cache_concat(first, nullptr), first);
  EXPECT_EQ(cache_concat(nullptr, second), second);
  EXPECT_EQ(cache_intern(nullptr), nullptr);
}

TEST(StringCache, ScratchGrowsByItsRules) {
  std::free(gCacheScratch);
  gCacheScratch = nullptr;
  gCacheScratchSize = 0;
  const std::string x(20000, 'x');
  const auto grown = [](const char*) { return gCacheScratchSize; };
  EXPECT_EQ(grown(cache_printf("%d", 1)), 4096u);
  EXPECT_EQ(grown(cache_internN(x.c_str(), 4095)), 4096u);
  EXPECT_EQ(grown(cache_printf("%.5000s", x.c_str())), 10002u);
  EXPECT_EQ(grown(cache_printf((x.substr(1, 1000) + "%d").c_str(), 1)), 20040u);
  EXPECT_EQ(grown(cache_concat(x.c_str(), x.c_str() + 19960)), 40082u);
}

TEST(StringCache, PathsPrefixesAndWords) {
  for (const char* directory : {"a", "a/"}) {
    for (const char* name : {"b", "/b"}) EXPECT_STREQ(cache_joinPath(directory, name), "a/b");
  }
  for (const char* none : {"", static_cast<const char*>(nullptr)}) {
    EXPECT_STREQ(cache_joinPath(none, "b"), "b");
    EXPECT_STREQ(cache_joinPath("a", none), "a");
  }
  EXPECT_TRUE(cache_hasPrefix("/usr/include", "/usr") && cache_hasPrefix("/usr", ""));
  EXPECT_FALSE(cache_hasPrefix("/us", "/usr") || cache_hasPrefix("/usr", nullptr) || cache_hasPrefix(nullptr, ""));
  const char* kRows[][3] = {{" a  b ", " ", "[a][b]"}, {"", " ", ""}, {",;,", ";,", ""}, {"a,b;c", ";,", "[a][b][c]"}};
  for (const auto& [text, delimiters, expected] : kRows) {
    std::string words;
    vector* v = cache_split(text, delimiters);
    for (; vec_size(v) > 0; vec_removeAt(v, 0)) words += cache_printf("[%s]", word_ptr<char>(vec_elementAt(v, 0)));
    vec_destroy(v);
    EXPECT_EQ(words, expected) << text;
  }
}

TEST(StringCache, ReadsLinesOfAnyLength) {
  const std::string full(1023, 'x'), less(1022, 'x'), pages(30000, 'y');
  const std::string kLines[] = {"a\n", "\n", less + "\n", full + "\n", less + "\r", "\n", full + full + "\r\n", pages};
  std::FILE* stream = std::tmpfile();
  for (const std::string& line : kLines) std::fputs(line.c_str(), stream);
  std::rewind(stream);
  for (const std::string& line : kLines) EXPECT_EQ(cache_readLine(stream), line);
  EXPECT_EQ(cache_readLine(stream), nullptr);
  std::fclose(stream);
}
