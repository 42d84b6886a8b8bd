#pragma once

#include <string>

namespace msg_tarvel::tool {

/** How the failure of a query is reported. */
constexpr const char* CANNOT_READ = "cannot read the message store";

/** The calling thread's use of the message store, from construction to destruction. */
class StoreSession {
 public:
  StoreSession();
  StoreSession(const StoreSession&) = delete;
  StoreSession& operator=(const StoreSession&) = delete;
  ~StoreSession();
};

/** Throws a Failure that says what to do when there is no store: opening it would make one. */
void require_store();

/**
 * The result of a read query: true for found, false for nothing found. Anything else throws a
 * Failure that begins with `what`.
 */
bool is_found(int result, const std::string& what);

/** The store's write lock. Everything is undone unless commit() succeeds. */
class Transaction {
 public:
  Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();

  void commit();

 private:
  bool _open = false;
};

}  // namespace msg_tarvel::tool
