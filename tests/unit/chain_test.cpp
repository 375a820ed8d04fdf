// The chains of the symbol table against the plain search along a chain that defines their order.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "preprocessor/cpp6.h"

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
    std::string name = i % 3 == 0 ? std::string(66, 'z') + 'I' : "";  // adds MACRO_CHAINS to the hash
    for (int k = 0; k < 6; k++) name += static_cast<char>('a' + random() % 4);
    const bool remove = random() % (i < 10000 ? 3 : 2) == 0;
    SourceChar wide[256];
    const macro_def* made = macro_enter(sc_fromNarrow(wide, name.c_str()), remove);
    const bool found = enter(&chains[hash_of(name) % MACRO_CHAINS], name, remove);
    ASSERT_EQ(made != nullptr, found || !remove) << name;
  }
  for (const auto& [number, names] : chains) {
    chain_model forward, back;
    char text[256];
    const macro_chain& chain = gMacroTable[number];
    for (const macro_def* m = chain.head; m; m = m->next) forward.push_back(sc_toNarrow(text, m->name));
    for (const macro_def* m = chain.tail; m; m = m->previous) back.insert(back.begin(), sc_toNarrow(text, m->name));
    EXPECT_EQ(forward, names);
    EXPECT_EQ(back, names);
  }
}
