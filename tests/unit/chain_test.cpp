// The symbol table and its chains against the plain search along a chain that defines their order.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "preprocessor/chains.h"

using chain_model = std::vector<std::string>;

static std::uint32_t hash_of(const std::string& name) {
  std::uint32_t hash = static_cast<std::uint32_t>(name.size());
  for (const char c : name) hash += static_cast<unsigned char>(c);
  return hash;
}

// Returns whether the name was there.
static bool enter(chain_model* chain, const std::string& name, bool remove) {
  auto at = std::find_if(chain->begin(), chain->end(), [&name](const std::string& other) {
    return hash_of(other) == hash_of(name) && other >= name;
  });
  const bool found = at != chain->end() && *at == name;
  if (found) at = chain->erase(at);
  if (!remove) chain->insert(at, name);
  return found;
}

TEST(Chains, KeepTheOrderOfAPlainSearch) {
  std::mt19937 random(5);
  std::map<std::uint32_t, chain_model> chains;
  for (int i = 0; i < 20000; i++) {
    std::string name = i % 3 == 0 ? std::string(66, 'z') + 'I' : "";  // adds CHAINS to the hash
    for (int k = 0; k < 6; k++) name += static_cast<char>('a' + random() % 4);
    const bool remove = random() % (i < 10000 ? 3 : 2) == 0;
    SourceChar wide[256];
    sc_fromNarrow(wide, name.c_str());
    const bool removed = remove && macro_remove(wide);
    const macro_def* made = remove ? nullptr : macro_enter(wide, 0);
    const bool found = enter(&chains[hash_of(name) % CHAINS], name, remove);
    ASSERT_EQ(removed, remove && found) << name;
    name += std::string(8, '\0');
    ASSERT_EQ(macro_find(reinterpret_cast<const unsigned char*>(name.c_str()), sc_length(wide)), made) << name;
  }
  chain_model expected, shown;
  for (const auto& [number, names] : chains) expected.insert(expected.end(), names.begin(), names.end());
  chains_visit([](const macro_def* macro, void* to) { static_cast<chain_model*>(to)->push_back(macro_name(macro)); },
               &shown);
  EXPECT_EQ(shown, expected);
}
