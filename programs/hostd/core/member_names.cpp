// member_names.cpp - open-addressing tables of member names, hashed with SipHash-2-4.
#include "member_names.h"

#include <chrono>
#include <cstring>
#include <random>
#include <stdexcept>

namespace hostd {

namespace {

struct HashKey {
  std::uint64_t k0;
  std::uint64_t k1;
};

// The process's hash key: from the system's random source, or, where that is unavailable, from
// the clock and the address space layout, which a remote peer does not see either.
HashKey make_key() {
  HashKey key{0, 0};
  try {
    std::random_device source;
    key.k0 = (static_cast<std::uint64_t>(source()) << 32) ^ source();
    key.k1 = (static_cast<std::uint64_t>(source()) << 32) ^ source();
  } catch (...) {
    const auto now = static_cast<std::uint64_t>(
        std::chrono::steady_clock::now().time_since_epoch().count());
    key.k0 = now ^ reinterpret_cast<std::uintptr_t>(&key);
    key.k1 = (now << 17) ^ reinterpret_cast<std::uintptr_t>(&make_key);
  }
  return key;
}

const HashKey &process_key() {
  static const HashKey key = make_key();
  return key;
}

inline std::uint64_t rotl(std::uint64_t x, int b) { return (x << b) | (x >> (64 - b)); }

inline void sip_round(std::uint64_t &v0, std::uint64_t &v1, std::uint64_t &v2, std::uint64_t &v3) {
  v0 += v1;
  v1 = rotl(v1, 13);
  v1 ^= v0;
  v0 = rotl(v0, 32);
  v2 += v3;
  v3 = rotl(v3, 16);
  v3 ^= v2;
  v0 += v3;
  v3 = rotl(v3, 21);
  v3 ^= v0;
  v2 += v1;
  v1 = rotl(v1, 17);
  v1 ^= v2;
  v2 = rotl(v2, 32);
}

std::uint64_t siphash(std::string_view data, const HashKey &key) {
  std::uint64_t v0 = 0x736f6d6570736575ULL ^ key.k0;
  std::uint64_t v1 = 0x646f72616e646f6dULL ^ key.k1;
  std::uint64_t v2 = 0x6c7967656e657261ULL ^ key.k0;
  std::uint64_t v3 = 0x7465646279746573ULL ^ key.k1;
  const auto *p = reinterpret_cast<const unsigned char *>(data.data());
  const std::size_t size = data.size();
  const std::size_t whole = size - size % 8;
  for (std::size_t i = 0; i < whole; i += 8) {
    std::uint64_t m = 0;
    for (int j = 7; j >= 0; --j) m = (m << 8) | p[i + static_cast<std::size_t>(j)];
    v3 ^= m;
    sip_round(v0, v1, v2, v3);
    sip_round(v0, v1, v2, v3);
    v0 ^= m;
  }
  std::uint64_t last = static_cast<std::uint64_t>(size) << 56;
  for (std::size_t j = 0; j < size % 8; ++j) {
    last |= static_cast<std::uint64_t>(p[whole + j]) << (8 * j);
  }
  v3 ^= last;
  sip_round(v0, v1, v2, v3);
  sip_round(v0, v1, v2, v3);
  v0 ^= last;
  v2 ^= 0xff;
  for (int i = 0; i < 4; ++i) sip_round(v0, v1, v2, v3);
  return v0 ^ v1 ^ v2 ^ v3;
}

constexpr std::size_t kFirstSize = 16;

// An object with this many members has passed anything a frame can hold.
constexpr std::size_t kMostEntries = 0xFFFFFFFEu;

std::uint64_t tag_of(std::uint64_t hash) { return hash & 0xFFFFFFFF00000000ULL; }

}  // namespace

std::string_view MemberNames::text_of(const JsonString &name) {
  if (!name.escaped) return reader_.raw_of(name);
  reader_.decode(name, &scratch_);
  return scratch_;
}

void MemberNames::open_object(int depth) {
  const auto index = static_cast<std::size_t>(depth - 1);
  if (tables_.size() <= index) tables_.resize(index + 1);
  Table &table = tables_[index];
  for (const Entry &entry : table.entries) table.slots[entry.slot] = 0;
  table.entries.clear();
}

void MemberNames::grow(Table *table) {
  const std::size_t size = table->slots.empty() ? kFirstSize : table->slots.size() * 2;
  table->slots.assign(size, 0);
  const std::size_t mask = size - 1;
  for (std::size_t e = 0; e < table->entries.size(); ++e) {
    Entry &entry = table->entries[e];
    std::size_t i = static_cast<std::size_t>(entry.hash) & mask;
    while (table->slots[i] != 0) i = (i + 1) & mask;
    table->slots[i] = tag_of(entry.hash) | (e + 1);
    entry.slot = i;
  }
}

bool MemberNames::add(int depth, const JsonString &name, std::string_view text) {
  Table &table = tables_[static_cast<std::size_t>(depth - 1)];
  if (table.entries.size() >= kMostEntries) throw std::length_error("too many members");
  if ((table.entries.size() + 1) * 2 > table.slots.size()) grow(&table);

  const std::uint64_t hash = siphash(text, process_key());
  const std::uint64_t tag = tag_of(hash);
  const std::size_t mask = table.slots.size() - 1;
  std::size_t i = static_cast<std::size_t>(hash) & mask;
  for (; table.slots[i] != 0; i = (i + 1) & mask) {
    if (tag_of(table.slots[i]) != tag) continue;
    const Entry &entry = table.entries[(table.slots[i] & 0xFFFFFFFFu) - 1];
    if (entry.hash != hash || entry.name.length != name.length) continue;
    if (text_of(entry.name) == text) return false;
  }
  table.entries.push_back(Entry{hash, i, name});
  table.slots[i] = tag | table.entries.size();
  return true;
}

}  // namespace hostd
