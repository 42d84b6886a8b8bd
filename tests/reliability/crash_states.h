#pragma once

// What a disk may hold after the power was cut, or a process killed, at any moment of what
// RecordingDisk has recorded.

#include <sys/types.h>

#include <functional>
#include <istream>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace msg_tarvel {

/** What is below a folder: directories and files. */
class DiskTree {
 public:
  struct Node {
    bool isDirectory = true;
    mode_t mode = 0755;
    uid_t owner = 0;
    gid_t group = 0;
    std::string bytes;
  };

  /** The tree that `folder` holds. */
  static DiskTree of(const std::string& folder);

  /** Puts the tree in the place of all that is below `folder`. */
  void writeTo(const std::string& folder) const;

  /** Every path with all that is known of it: two trees of the same text are the same. */
  std::string text() const;

  // Nodes are known by their numbers, which last: a file that has lost its name is still there.
  static constexpr int ROOT = 0;
  int add(const Node& node);
  Node& node(int number) { return _nodes[static_cast<std::size_t>(number)]; }
  /** The node of a path below the folder, empty for that itself. Aborts where there is none. */
  int find(const std::string& path) const;
  void link(int directory, const std::string& name, int number);
  void unlink(int directory, const std::string& name);

 private:
  /** Calls `visit` with the path and the node of each, directories before what is in them. */
  void _visit(int directory, const std::string& path,
              const std::function<void(const std::string&, const Node&)>& visit) const;
  void _read(int directory, const std::string& path);

  std::vector<Node> _nodes = {Node()};
  std::map<std::pair<int, std::string>, int> _entries;
};

struct CrashState {
  /** When the power was cut, and what of the writes before was lost. */
  std::string how;
  /** How many promises had been made by then. */
  int promises = 0;
  /** Whether nothing was lost, as when the process alone was killed. */
  bool isKill = false;
  DiskTree tree;
};

/**
 * The states, after each operation: all is on the disk that was written; nothing is that was not
 * synced; the last write is torn between two sectors. And before each sync: each operation that was
 * not synced alone is lost, each alone is there, each alone is torn, and some chance choices,
 * always the same, of what is there, torn and lost.
 *
 * A sync of a file brings its bytes and its size to the disk, and its mode and owner if it is not
 * one of data alone; a sync of a directory the names in it. What is below a directory does not
 * outlast that directory's own name: file systems that keep a journal write that along.
 */
class CrashStates {
 public:
  CrashStates(DiskTree before, const std::string& record);

  /** What the disk holds when all is written. */
  const DiskTree& end() const { return _end; }

  /**
   * Calls `visit` with different states, with all of them where there are no more than `most`, else
   * with about as many from everywhere and with those that tell most: the process killed after it
   * has made a file, given it a name or set its mode, the power cut after it has given a name and
   * before it syncs, and both at the end. Returns how many it was.
   */
  int forEach(int most, const std::function<void(const CrashState&)>& visit) const;

 private:
  enum class Kind { MAKE, REMOVE, RENAME, WRITE, TRUNCATE, MODE, OWNER, SYNC, DATA_SYNC, PROMISE };

  /** Of the record; about nodes, so that it can be done to a tree that lacks another one. */
  struct Operation {
    Kind kind = Kind::PROMISE;
    /** As a reader is told of it. */
    std::string text;
    long long numbers[3] = {};
    /** The file, or the directory whose names change. */
    int node = DiskTree::ROOT;
    /** Of a name: the one that goes, the one that comes, and what it names. */
    std::string oldName;
    std::string newName;
    int named = 0;
    std::string bytes;
  };

  /** An operation by its number and, of a write that is torn, the bytes that are there. */
  struct Done {
    std::size_t number = 0;
    std::size_t from = 0;
    std::size_t to = std::string::npos;
  };

  /** A choice of the operations that have come to the disk. */
  struct Choice {
    std::string how;
    std::vector<Done> done;
  };

  static Operation _readOperation(std::istream& in, std::string& path);
  void _place(Operation& operation, const std::string& path);
  static void _do(const Operation& operation, DiskTree& tree, std::size_t from = 0,
                  std::size_t to = std::string::npos);
  static bool _isChange(const Operation& operation);
  static bool _isSync(const Operation& operation);
  bool _bringsAlong(const Operation& sync, const Operation& change) const;
  bool _isAbove(int directory, int node) const;
  bool _isTelling(std::size_t point, const Choice& choice) const;
  bool _isBeforeSync(std::size_t point) const;
  std::vector<Choice> _choicesAt(std::size_t point, const std::vector<Done>& pending) const;
  std::vector<std::size_t> _cutsIn(std::size_t number) const;
  std::string _nameOf(std::size_t number) const;
  void _addTorn(std::vector<Done> done, std::size_t torn, const std::string& how,
                std::vector<Choice>& choices) const;
  void _addLost(const std::vector<Done>& pending, std::vector<Choice>& choices) const;
  void _addChance(const std::vector<Done>& pending, std::vector<Choice>& choices) const;
  /** Calls `visit` at each point in time with what is on the disk for certain by then. */
  template <typename Visit>
  void _walk(Visit&& visit) const;

  /** With every node that comes into being later, without a name. */
  DiskTree _before;
  DiskTree _end;
  std::vector<Operation> _operations;
  /** The directory that each new node was made in. */
  std::map<int, int> _parents;
};

}  // namespace msg_tarvel
