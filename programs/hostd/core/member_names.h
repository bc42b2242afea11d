// member_names.h - the member names of the objects that are open while a document is read, so
// that a second member of the same name in one object is caught.
//
// Takes: the reader of the document (for its text and to unescape names); it must outlive this.
// Owns: one hash table per nesting level, reused by the next object at that level, so memory
// follows the largest object at each level and never the whole document. Names are not
// copied: an entry points at the name's bytes in the document.
// Compares: unescaped names, so "a" and "\u0061" are the same name. The hash is keyed with a
// random key made once per process, so that a peer cannot choose names that all fall into one
// slot; each name costs expected constant time beyond reading its bytes.
#ifndef CMPI_HOSTD_MEMBER_NAMES_H
#define CMPI_HOSTD_MEMBER_NAMES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "json_reader.h"

namespace hostd {

class MemberNames {
 public:
  explicit MemberNames(const JsonReader &reader) : reader_(reader) {}
  MemberNames(const MemberNames &) = delete;
  MemberNames &operator=(const MemberNames &) = delete;

  // An object opens at depth (1 for the outermost): what an earlier object at that depth held
  // is forgotten.
  void open_object(int depth);
  // Adds a member name of the object open at depth: the name token and its unescaped text
  // (the caller has it at hand already). False when that object already has a member of that
  // name.
  bool add(int depth, const JsonString &name, std::string_view text);

 private:
  struct Entry {
    std::uint64_t hash;
    std::size_t slot;  // where the table points at it
    JsonString name;
  };
  struct Table {
    // A power of two in size, at most half full. A taken slot holds the entry's index + 1 in
    // its low 32 bits and the high half of the name's hash in its high ones, so that most
    // probes decide without looking at the entry; 0 is a free slot.
    std::vector<std::uint64_t> slots;
    std::vector<Entry> entries;  // in the order the names came
  };

  std::string_view text_of(const JsonString &name);
  void grow(Table *table);

  const JsonReader &reader_;
  std::vector<Table> tables_;  // [depth - 1]
  std::string scratch_;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_MEMBER_NAMES_H
