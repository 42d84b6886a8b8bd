#pragma once

#include <stdexcept>
#include <string>

namespace msg_tarvel::helpers {

// What a StoreError says first; the library's log says why.
constexpr const char* CANNOT_READ = "cannot read the message store";
constexpr const char* CANNOT_SEARCH = "cannot search the message store";
constexpr const char* CANNOT_WRITE = "cannot write the message store";

/** The message store refused. Unless it is an UnknownOutcome, the transaction is undone. */
class StoreError : public std::runtime_error {
 public:
  StoreError(const std::string& what, int code) : std::runtime_error(what), _code(code) {}

  /** The library's result code. */
  int code() const { return _code; }

 private:
  int _code;
};

/**
 * A commit failed. Whether the store has the transaction is not known: to repeat it may do
 * everything twice, to leave it may lose everything.
 */
class UnknownOutcome : public StoreError {
 public:
  using StoreError::StoreError;
};

}  // namespace msg_tarvel::helpers
