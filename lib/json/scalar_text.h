// scalar_text.h - the text value2Chars gives for a scalar, had without value2Chars' copy where
// the value allows it, for the instance writer (instance_props_text.cpp).
//
// The instance writer asks value2Chars for the text of every scalar, logs it on its trace line
// and, for integers, reads the number back with strtoll. value2Chars returns a fresh copy each
// time, which was a good share of an enumerated instance's cost. ScalarText gives the same text:
//  - integers: written here in decimal, exactly as value2Chars writes them ("%u"/"%d" of the
//    widened value, "%llu"/"%lld" for 64 bits), into a buffer of its own, and only when get()
//    is first asked (the writer needs an integer's text for its trace line alone);
//  - booleans: "true" or "false";
//  - strings (CMPI_string and its boolean, numeric and date-time forms) and CMPI_chars: the
//    text the value holds, borrowed; nullptr where value2Chars gives nullptr (a missing or
//    broken string object, or one without text);
//  - every other type: value2Chars' own copy, freed with the ScalarText.
// read_back() is what strtoll(text, nullptr, 10) gives for an integer's text, taken from the
// value: the value itself, except a uint64 beyond the largest sint64, where strtoll stops at
// that largest value. Callers rely on the number being the one the text would give.
#ifndef CMPIUTILITY_JSON_SCALAR_TEXT_H
#define CMPIUTILITY_JSON_SCALAR_TEXT_H

#include <cmpidt.h>

namespace cmpiutility {

class ScalarText {
 public:
  ScalarText(CMPIType type, const CMPIValue &value);
  ~ScalarText();
  ScalarText(const ScalarText &) = delete;
  ScalarText &operator=(const ScalarText &) = delete;

  // The text, or nullptr as value2Chars would return it (never for an integer). Valid while
  // this object lives.
  const char *get() const;
  // For an integer type code: the number strtoll reads from get().
  long long read_back() const { return number_; }

 private:
  mutable char buffer_[24];
  mutable const char *text_ = nullptr;
  char *owned_ = nullptr;
  long long number_ = 0;
  unsigned long long unsigned_number_ = 0;
  bool integer_ = false;
  bool unsigned_ = false;
};

}  // namespace cmpiutility

#endif  // CMPIUTILITY_JSON_SCALAR_TEXT_H
