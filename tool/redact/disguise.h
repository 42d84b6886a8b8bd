#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

namespace msg_tarvel::tool {

/**
 * Puts other texts in the place of texts so that nobody without the key, which nobody keeps, finds
 * the way back, and so that what can go wrong with a store still does: the same text always becomes
 * the same other one, of the same length in characters and in bytes.
 */
class Disguise {
 public:
  /** `key` holds random bytes. */
  explicit Disguise(std::string key) : _key(std::move(key)) {}

  /**
   * Letters become others of their script and case, digits other digits, and so on; blanks and
   * punctuation stay, but in a text that has nothing else. Texts that differ in the case of ASCII
   * letters alone still do.
   */
  std::string text(const std::string& original) const;

  /**
   * Numbers keep their length and how they begin (calling code, trunk prefix). Two that ended in
   * the same digits, however many, end in the same ones, and others do not. Digits keep their
   * places among punctuation. What is no number is a text, and so is one of more than 40 digits.
   */
  std::string number(const std::string& original);

  /**
   * To be called for all numbers before the first is disguised: where a digit of one stays, as part
   * of its beginning, so do those of others that go on in the same way. Else a digit could become
   * what it never was the same as.
   */
  void learn(const std::string& original);

  /** A text, but for the extension of a type that is known. */
  std::string path(const std::string& original) const;

  /** As much random as SHA-256 gives, in hexadecimal. */
  std::string digest(const std::string& purpose, const std::string& original) const;

 private:
  std::uint64_t _seed(const char* purpose, const std::string& original) const;
  /** Of a number without punctuation. */
  std::string _bareNumber(const std::string& number);
  std::string _digits(const std::string& digits);
  char _digit(char digit, const std::string& behind);

  std::string _key;
  /** For each ending that was met, what the digit before it becomes. */
  std::unordered_map<std::string, std::string> _permutations;
};

}  // namespace msg_tarvel::tool
