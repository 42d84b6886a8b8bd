#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "helpers/statements.h"

namespace msg_tarvel::tool {

/**
 * Which messages a user asks for, in the same words in every command. The words are checked when
 * the command line is read. What is not said is not asked for, except that without a folder the
 * messages of hidden folders (5, 105) are left out, as in the library's lists.
 */
struct MessageFilter {
  std::vector<int> conversations;
  /** Everyone of these takes part, the number written in any form. */
  std::vector<std::string> people;
  std::string since;
  std::string until;
  std::string text;
  std::string folder;
  bool unread = false;
  bool failed = false;
  std::string type;
  /** 0: all. */
  int limit = 0;

  /** Not one of the words: oldest first, else newest first. */
  bool ascending = false;
};

/** Whether it has not one of the words. */
bool is_unsaid(const MessageFilter& filter);

/** Declares the words on a command; `filter` outlives it. */
void declare_filter(CLI::App& app, MessageFilter& filter);
/** The same but for the conversations, which the command knows. */
void declare_filter_within_conversation(CLI::App& app, MessageFilter& filter);

/**
 * The ids of the messages that a filter lets pass, one by one, in the order of their times; those
 * of the same time by id, which may be one that the library's queries do not take. Within a session
 * of the library's.
 */
class MatchingMessages {
 public:
  /** Throws StoreError; Failure when people are wanted and the settings cannot be read. */
  explicit MatchingMessages(const MessageFilter& filter);

  /** None at the end. Throws StoreError. */
  std::optional<long long> next();

 private:
  bool _hasText() const;

  const MessageFilter _filter;
  const std::string _wanted;
  std::unique_ptr<db::SqlStatement> _rows;
  int _found = 0;
};

}  // namespace msg_tarvel::tool
