#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "helpers/same_address.h"

namespace msg_tarvel::helpers {

/** What the library's search makes of a device's country: which "+" numbers match by ending. */
enum class Country { US, KR, OTHER };

/**
 * The participants of every conversation, read once, for many searches within one transaction. A
 * search takes as long as there are rows that match, however many others there are.
 */
class AddressMemory {
 public:
  /** Throws StoreError when the store cannot be read. */
  AddressMemory();

  /** A row that the caller has added to the store; an empty address is NULL there. */
  void add(int convId, int addressType, const std::string& address);

  /** False for a store with rows or indexes that the library's search takes in another way. */
  bool isAsSearched() const { return _isAsSearched; }

  /**
   * What db_check_thread_address_exist answers on a device of `country` for addresses that hold no
   * pattern; findSame where it throws.
   */
  int findAlike(const std::vector<std::string>& addresses, Country country);

  /** The first conversation whose addresses are, each of them and no others, the same as these. */
  int findSame(const std::vector<std::string>& addresses) const;

 private:
  struct Row {
    std::uint32_t conversation = 0;
    bool isNull = false;
    /** Whether the library's search looks at it; and whether no search does. */
    bool isSearched = false;
    bool isUnsearched = false;
    std::string address;
    /** The latest search that it matched. */
    unsigned search = 0;
  };
  struct Conversation {
    int id = 0;
    std::vector<std::uint32_t> rows;
    /** How many of its rows the latest search that matched any of them has matched. */
    unsigned search = 0;
    std::size_t matched = 0;
  };
  using Rows = std::vector<std::uint32_t>;
  /** A search, and what it found. */
  struct Search {
    bool isKnown = false;
    std::vector<const Rows*> found;
    std::size_t people = 0;
    int convId = 0;
  };

  void _add(int convId, Row row);
  int _firstOf(const std::vector<const Rows*>& found, std::size_t people);
  void _appendRowsLike(const std::string& address, Country country,
                       std::vector<const Rows*>& found) const;
  void _appendRowsOf(const std::string& text, std::vector<const Rows*>& found) const;
  void _appendRowsEndingIn(const std::string& digits, std::vector<const Rows*>& found) const;
  std::vector<const Rows*> _rarestRows(const std::vector<std::string>& addresses) const;
  bool _hasExactly(const Conversation& conversation, const std::vector<std::string>& addresses,
                   const AddressSet& wanted) const;

  bool _isAsSearched = true;
  std::vector<Row> _rows;
  std::vector<Conversation> _conversations;
  std::unordered_map<int, std::uint32_t> _byId;
  /** By the address as LIKE reads it, last character first. */
  std::map<std::string, Rows> _byLetters;
  Rows _withoutAddress;
  unsigned _search = 0;
  Search _latest;
};

}  // namespace msg_tarvel::helpers
