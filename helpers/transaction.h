#pragma once

namespace msg_tarvel::helpers {

/** The calling thread's use of the message store, from construction to destruction. */
class StoreSession {
 public:
  StoreSession();
  StoreSession(const StoreSession&) = delete;
  StoreSession& operator=(const StoreSession&) = delete;
  ~StoreSession();
};

/**
 * The store's write lock. Everything is undone unless commit() succeeds.
 *
 * SQLite ends a transaction itself after some errors (a full disk, a failed read). What is written
 * after that is not undone with the rest; so nobody goes on after a StoreError, and where a
 * function of the library may have swallowed an error, requireStanding() tells.
 */
class Transaction {
 public:
  /** Throws StoreError when the lock cannot be had. */
  Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();

  /** Throws StoreError when SQLite has ended the transaction and undone everything. */
  void requireStanding();

  /** Throws StoreError when everything was undone before; UnknownOutcome when the commit fails. */
  void commit();

 private:
  bool _isOpen = true;
};

/**
 * Rolls back what is open on the calling thread's connection, whatever state an error left it in:
 * the next transaction is one again. Not within somebody else's transaction.
 */
void abandon_transaction();

}  // namespace msg_tarvel::helpers
