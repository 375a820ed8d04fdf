// The untyped word that the containers hold: a reference or a small integer.
#ifndef COMMON_WORD_H
#define COMMON_WORD_H

#include <cstdint>

using Word = std::uint64_t;

static_assert(sizeof(Word) == sizeof(void*), "a word holds a reference");

inline Word to_word(const void* reference) { return reinterpret_cast<Word>(reference); }

// word_ptr<const char>(w): the reference that was put into w with to_word.
template <class T>
inline T* word_ptr(Word w) {
  return reinterpret_cast<T*>(w);
}

#endif
