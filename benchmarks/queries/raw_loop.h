#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "queries/way.h"

namespace msg_tarvel::bench {

/**
 * What a good engineer writes by hand on SQLite's C interface: dependents in bulk, within one
 * transaction, each by as many look-ups as there are keys or by one scan, whichever is less. It
 * knows whether the store has indexes.
 */
class RawLoop : public Way {
 public:
  enum class Statements { KEPT, COMPILED_EACH_CALL };

  RawLoop(const std::string& path, Statements statements);
  ~RawLoop() override;

  bool isIndexed() const { return _isIndexed; }
  bool asksRowByRow() const override { return false; }

  void message(const Condition& condition, Message& out) override;
  void messages(const Condition& condition, std::vector<Message>& out) override;
  void thread(int convId, Thread& out) override;
  void threads(std::vector<Thread>& out) override;
  void conversations(int convId, std::vector<Conversation>& out) override;
  void addresses(int convId, std::vector<Address>& out) override;
  void contents(int msgId, std::vector<Content>& out) override;
  void metas(const Condition& condition, std::vector<NmsMsgMeta>& out) override;
  bool hasDownload() override;

  /** The first column of the first row, for whoever chooses what to ask for; 0 without one. */
  long long number(const std::string& sql);

 private:
  friend class RawStatement;

  struct CloseConnection {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
  };
  struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };

  bool _isLookedUp(const char* table, std::size_t keys);
  void _addAddresses(std::vector<Message>& messages);
  template <typename AnyMessage>
  void _addContents(std::vector<AnyMessage>& messages, bool (*isWanted)(const AnyMessage&));
  void _addMetadata(std::vector<Message>& messages);
  template <typename Item>
  void _readAll(const char* columns, const char* condition, long long key, std::vector<Item>& out);

  std::unique_ptr<sqlite3, CloseConnection> _db;
  Statements _statements;
  bool _isIndexed = false;
  /** By the places of their two texts, which are constants. */
  std::unordered_map<const char*, std::unordered_map<const char*, sqlite3_stmt*>> _kept;
};

}  // namespace msg_tarvel::bench
