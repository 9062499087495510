#pragma once

#include <algorithm>
#include <cassert>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace moxsupply {

// The name of a dictionary entry: a word ("Description"), a numbered word ({"Supply", 3}, which
// reads "Supply 3"), or a bare number (3, the supply numbers of the model-family records).
// A key does not own its word: words are string literals, or texts that live as long.
class Key {
 public:
  // Refuses, when compiled, a literal that ends in a digit: "Supply 3" is written {"Supply", 3},
  // so that every key has one form only and keys compare without being put together.
  template <std::size_t size>
  consteval Key(const char (&word)[size])  // NOLINT(*-explicit-*,*-c-arrays): literals are keys
      : mWord(word, size - 1) {
    if (endsInDigit(mWord)) throw "a numbered key is written {\"Supply\", 3}";
  }

  template <std::size_t size>
  constexpr Key(const char (&word)[size], std::int32_t number) noexcept  // NOLINT(*-c-arrays)
      : mWord(word, size - 1), mNumber(number), mNumbered(true) {}

  constexpr explicit Key(std::int32_t number) noexcept : mNumber(number), mNumbered(true) {}

  // A key from a table of words, for words that are not literals at the place of use. `word` must
  // not end in a digit.
  static constexpr Key fromTable(std::string_view word) noexcept { return Key(word); }

  // The key as text: "Description", "Supply 3", "3".
  [[nodiscard]] std::string text() const {
    if (!mNumbered) return std::string(mWord);
    if (mWord.empty()) return std::to_string(mNumber);
    return std::string(mWord) + ' ' + std::to_string(mNumber);
  }

  friend constexpr bool operator==(const Key& a, const Key& b) noexcept {
    return a.mNumber == b.mNumber && a.mNumbered == b.mNumbered && a.mWord == b.mWord;
  }

 private:
  constexpr explicit Key(std::string_view word) noexcept : mWord(word) {}

  static constexpr bool endsInDigit(std::string_view word) noexcept {
    return !word.empty() && word.back() >= '0' && word.back() <= '9';
  }

  std::string_view mWord;
  std::int32_t mNumber = 0;
  bool mNumbered = false;
};

class Dictionary;

using Bytes = std::vector<std::uint8_t>;

// Text is UTF-8. Numbers are signed 32-bit whatever width they had on the wire.
using Value = std::variant<std::int32_t, std::string, Bytes, Dictionary>;

// What travels upwards from a reply to the host: a few entries, each a key and a value, in the
// order in which they were first set. The entries lie in one flat vector and are found by looking
// at one after the other; with the handful that a printer reports nothing is faster.
class Dictionary {
 public:
  struct Entry;

  // The value under `key`, or null. A pointer stays good until an entry is added or removed.
  [[nodiscard]] const Value* find(const Key& key) const noexcept;
  [[nodiscard]] Value* find(const Key& key) noexcept;

  // The value under `key` when it is of the type asked for, otherwise null.
  template <typename Type>
  [[nodiscard]] const Type* get(const Key& key) const noexcept;
  template <typename Type>
  [[nodiscard]] Type* get(const Key& key) noexcept;

  // The number under `key`; 0 when there is none.
  [[nodiscard]] std::int32_t number(const Key& key) const noexcept;

  [[nodiscard]] bool contains(const Key& key) const noexcept { return find(key) != nullptr; }

  // Stores `value` under `key`, in place of what stood there.
  template <typename Stored>
  requires std::constructible_from<Value, Stored>
  void set(const Key& key, Stored&& value);

  // Stores `value` under `key`, of which the caller knows that nothing stands there: it is not
  // looked for.
  template <typename Stored>
  requires std::constructible_from<Value, Stored>
  void add(const Key& key, Stored&& value);

  // Takes the entry under `key` away, if there is one.
  void remove(const Key& key) noexcept;

  // Makes room for `count` entries in all, so that setting them allocates nothing more.
  void reserve(std::size_t count);

  [[nodiscard]] std::size_t size() const noexcept;
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }
  [[nodiscard]] std::vector<Entry>::const_iterator begin() const noexcept;
  [[nodiscard]] std::vector<Entry>::const_iterator end() const noexcept;

  // Equal: the same keys with equal values, in whatever order they were set.
  friend bool operator==(const Dictionary& a, const Dictionary& b);

 private:
  std::vector<Entry> mEntries;
};

struct Dictionary::Entry {
  // Makes the value where it stays: of a number that is moved in, g++ 12 warns that members which
  // only a text has are not initialised.
  template <typename Stored>
  Entry(const Key& entryKey, Stored&& stored)
      : key(entryKey), value(std::forward<Stored>(stored)) {}

  Key key;
  Value value;
};

inline const Value* Dictionary::find(const Key& key) const noexcept {
  for (const Entry& entry : mEntries) {
    if (entry.key == key) return &entry.value;
  }
  return nullptr;
}

inline Value* Dictionary::find(const Key& key) noexcept {
  for (Entry& entry : mEntries) {
    if (entry.key == key) return &entry.value;
  }
  return nullptr;
}

template <typename Type>
const Type* Dictionary::get(const Key& key) const noexcept {
  return std::get_if<Type>(find(key));
}

template <typename Type>
Type* Dictionary::get(const Key& key) noexcept {
  return std::get_if<Type>(find(key));
}

inline std::int32_t Dictionary::number(const Key& key) const noexcept {
  const auto* number = get<std::int32_t>(key);
  return number == nullptr ? 0 : *number;
}

template <typename Stored>
requires std::constructible_from<Value, Stored>
void Dictionary::set(const Key& key, Stored&& value) {
  if (Value* present = find(key); present != nullptr) {
    *present = std::forward<Stored>(value);
  } else {
    mEntries.emplace_back(key, std::forward<Stored>(value));
  }
}

template <typename Stored>
requires std::constructible_from<Value, Stored>
void Dictionary::add(const Key& key, Stored&& value) {
  assert(!contains(key));
  mEntries.emplace_back(key, std::forward<Stored>(value));
}

inline void Dictionary::remove(const Key& key) noexcept {
  std::erase_if(mEntries, [&](const Entry& entry) { return entry.key == key; });
}

inline void Dictionary::reserve(std::size_t count) { mEntries.reserve(count); }

inline std::size_t Dictionary::size() const noexcept { return mEntries.size(); }

inline std::vector<Dictionary::Entry>::const_iterator Dictionary::begin() const noexcept {
  return mEntries.begin();
}

inline std::vector<Dictionary::Entry>::const_iterator Dictionary::end() const noexcept {
  return mEntries.end();
}

inline bool operator==(const Dictionary& a, const Dictionary& b) {
  return a.size() == b.size() && std::ranges::all_of(a, [&](const Dictionary::Entry& entry) {
           const Value* other = b.find(entry.key);
           return other != nullptr && *other == entry.value;
         });
}

}  // namespace moxsupply
