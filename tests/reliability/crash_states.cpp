#include "reliability/crash_states.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <sstream>

#include "support/text_file.h"

namespace msg_tarvel {

namespace {

namespace fs = std::filesystem;

/** The smallest there are: where larger ones tear a write, these do too. */
constexpr std::size_t SECTOR = 512;
constexpr int CHANCE_CHOICES = 8;

/** What is on the disk when the process alone is killed. */
constexpr const char* KILL = "all written";
/** When the power is, and no disk writes before it is told to. */
constexpr const char* POWER_CUT = "what was not synced lost";

[[noreturn]] void give_up(const std::string& what) {
  std::perror(what.c_str());
  std::abort();
}

DiskTree::Node read_node(const std::string& path) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) give_up(path);
  const bool isDirectory = S_ISDIR(status.st_mode);
  return {isDirectory, status.st_mode & 07777, status.st_uid, status.st_gid,
          isDirectory ? "" : read_file(path)};
}

void set_attributes(const std::string& path, const DiskTree::Node& node) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) give_up(path);
  if ((status.st_uid != node.owner || status.st_gid != node.group) &&
      lchown(path.c_str(), node.owner, node.group) != 0) {
    give_up("chown " + path);
  }
  if (chmod(path.c_str(), node.mode) != 0) give_up("chmod " + path);
}

std::string last_of(const std::string& path) { return path.substr(path.rfind('/') + 1); }

bool begins_with(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

/** The directory of a path; empty for the folder itself. */
std::string directory_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash);
}

}  // namespace

// ---- The tree ----------------------------------------------------------------------------------

DiskTree DiskTree::of(const std::string& folder) {
  DiskTree tree;
  tree.node(ROOT) = read_node(folder);
  tree._read(ROOT, folder);
  return tree;
}

void DiskTree::_read(int directory, const std::string& path) {
  for (const auto& entry : fs::directory_iterator(path)) {
    const int number = add(read_node(entry.path().string()));
    link(directory, entry.path().filename().string(), number);
    if (node(number).isDirectory) _read(number, entry.path().string());
  }
}

void DiskTree::writeTo(const std::string& folder) const {
  for (const auto& entry : fs::directory_iterator(folder)) fs::remove_all(entry.path());
  _visit(ROOT, "", [&folder](const std::string& path, const Node& node) {
    const std::string whole = folder + "/" + path;
    if (node.isDirectory) {
      if (mkdir(whole.c_str(), 0700) != 0) give_up(whole);
    } else {
      write_file(whole, node.bytes);
    }
    set_attributes(whole, node);
  });
}

std::string DiskTree::text() const {
  std::ostringstream text;
  _visit(ROOT, "", [&text](const std::string& path, const Node& node) {
    text << path << " " << node.isDirectory << " " << std::oct << node.mode << std::dec << " "
         << node.owner << " " << node.group << " " << node.bytes.size() << "\n"
         << node.bytes << "\n";
  });
  return text.str();
}

void DiskTree::_visit(int directory, const std::string& path,
                      const std::function<void(const std::string&, const Node&)>& visit) const {
  for (auto entry = _entries.lower_bound({directory, ""});
       entry != _entries.end() && entry->first.first == directory; ++entry) {
    const Node& node = _nodes[static_cast<std::size_t>(entry->second)];
    const std::string name = path.empty() ? entry->first.second : path + "/" + entry->first.second;
    visit(name, node);
    if (node.isDirectory) _visit(entry->second, name, visit);
  }
}

int DiskTree::add(const Node& node) {
  _nodes.push_back(node);
  return static_cast<int>(_nodes.size()) - 1;
}

int DiskTree::find(const std::string& path) const {
  if (path.empty()) return ROOT;
  const auto entry = _entries.find({find(directory_of(path)), last_of(path)});
  if (entry == _entries.end()) give_up("no such file in the record: " + path);
  return entry->second;
}

void DiskTree::link(int directory, const std::string& name, int number) {
  _entries[{directory, name}] = number;
}

void DiskTree::unlink(int directory, const std::string& name) { _entries.erase({directory, name}); }

// ---- The record --------------------------------------------------------------------------------

CrashStates::CrashStates(DiskTree before, const std::string& record)
    : _before(std::move(before)), _end(_before) {
  std::ifstream in(record, std::ios::binary);
  std::string path;
  while (in.peek() != std::ifstream::traits_type::eof()) {
    Operation operation = _readOperation(in, path);
    _place(operation, path);
    _do(operation, _end);
    _operations.push_back(std::move(operation));
  }
}

CrashStates::Operation CrashStates::_readOperation(std::istream& in, std::string& path) {
  static const std::map<std::string, Kind> KINDS = {
      {"directory", Kind::MAKE},     {"file", Kind::MAKE},      {"remove", Kind::REMOVE},
      {"rename", Kind::RENAME},      {"write", Kind::WRITE},    {"truncate", Kind::TRUNCATE},
      {"mode", Kind::MODE},          {"owner", Kind::OWNER},    {"sync", Kind::SYNC},
      {"datasync", Kind::DATA_SYNC}, {"promise", Kind::PROMISE}};
  Operation operation;
  std::string kind;
  in >> kind;
  for (long long& number : operation.numbers) in >> number;
  in.get();
  std::getline(in, path);
  operation.kind = KINDS.at(kind);
  operation.text = kind + " " + path;
  if (operation.kind == Kind::WRITE) {
    operation.text += " at " + std::to_string(operation.numbers[0]);
    operation.bytes.resize(static_cast<std::size_t>(operation.numbers[1]));
    in.read(operation.bytes.data(), static_cast<std::streamsize>(operation.bytes.size()));
    in.get();
  }
  return operation;
}

/** Finds the nodes that an operation is about, and makes the new one. */
void CrashStates::_place(Operation& operation, const std::string& path) {
  switch (operation.kind) {
    case Kind::MAKE: {
      const auto [mode, owner, group] = operation.numbers;
      const bool isDirectory = begins_with(operation.text, "directory ");
      const DiskTree::Node node = {isDirectory, static_cast<mode_t>(mode),
                                   static_cast<uid_t>(owner), static_cast<gid_t>(group), ""};
      operation.node = _end.find(directory_of(path));
      operation.newName = last_of(path);
      operation.named = _before.add(node);
      _end.add(node);
      _parents[operation.named] = operation.node;
      break;
    }
    case Kind::REMOVE:
      operation.node = _end.find(directory_of(path));
      operation.oldName = last_of(path);
      break;
    case Kind::RENAME: {
      const std::size_t tab = path.find('\t');
      const std::string from = path.substr(0, tab);
      const std::string to = path.substr(tab + 1);
      operation.node = _end.find(directory_of(from));
      if (_end.find(directory_of(to)) != operation.node) give_up("two directories: " + path);
      operation.oldName = last_of(from);
      operation.newName = last_of(to);
      operation.named = _end.find(from);
      break;
    }
    case Kind::PROMISE:
      break;
    default:
      operation.node = _end.find(path);
  }
}

/** Of a write, the bytes from `from` to `to`. */
void CrashStates::_do(const Operation& operation, DiskTree& tree, std::size_t from,
                      std::size_t to) {
  DiskTree::Node& node = tree.node(operation.node);
  switch (operation.kind) {
    case Kind::MAKE:
    case Kind::REMOVE:
    case Kind::RENAME:
      if (!operation.oldName.empty()) tree.unlink(operation.node, operation.oldName);
      if (!operation.newName.empty()) {
        tree.link(operation.node, operation.newName, operation.named);
      }
      break;
    case Kind::WRITE: {
      const std::string piece = operation.bytes.substr(from, to - from);
      const std::size_t place = static_cast<std::size_t>(operation.numbers[0]) + from;
      if (node.bytes.size() < place + piece.size()) node.bytes.resize(place + piece.size());
      node.bytes.replace(place, piece.size(), piece);
      break;
    }
    case Kind::TRUNCATE:
      node.bytes.resize(static_cast<std::size_t>(operation.numbers[0]));
      break;
    case Kind::MODE:
      node.mode = static_cast<mode_t>(operation.numbers[0]);
      break;
    case Kind::OWNER:
      node.owner = static_cast<uid_t>(operation.numbers[0]);
      node.group = static_cast<gid_t>(operation.numbers[1]);
      break;
    case Kind::SYNC:
    case Kind::DATA_SYNC:
    case Kind::PROMISE:
      break;
  }
}

// ---- The states --------------------------------------------------------------------------------

bool CrashStates::_isSync(const Operation& operation) {
  return operation.kind == Kind::SYNC || operation.kind == Kind::DATA_SYNC;
}

bool CrashStates::_isChange(const Operation& operation) {
  return !_isSync(operation) && operation.kind != Kind::PROMISE;
}

/** Whether it is that directory or the file is in it. */
bool CrashStates::_isAbove(int directory, int node) const {
  for (auto parent = _parents.find(node); parent != _parents.end();
       parent = _parents.find(parent->second)) {
    if (parent->first == directory) return true;
  }
  return false;
}

bool CrashStates::_bringsAlong(const Operation& sync, const Operation& change) const {
  switch (change.kind) {
    case Kind::MODE:
    case Kind::OWNER:
      return sync.kind == Kind::SYNC && sync.node == change.node;
    case Kind::MAKE:
      return sync.node == change.node ||
             (begins_with(change.text, "directory ") && _isAbove(change.named, sync.node));
    default:
      return sync.node == change.node;
  }
}

/** Of the states at that point, those that a choice of a few always has. */
bool CrashStates::_isTelling(std::size_t point, const Choice& choice) const {
  const bool isEnd = point == _operations.size();
  const Kind last = point == 0 ? Kind::PROMISE : _operations[point - 1].kind;
  if (choice.how == KILL) {
    return isEnd || (last != Kind::WRITE && last != Kind::TRUNCATE && last != Kind::PROMISE &&
                     !_isSync(_operations[point - 1]));
  }
  // SQLite syncs data alone.
  const bool isSyncNext = !isEnd && _operations[point].kind == Kind::SYNC;
  return choice.how == POWER_CUT && (isEnd || isSyncNext || last == Kind::RENAME);
}

bool CrashStates::_isBeforeSync(std::size_t point) const {
  return point == _operations.size() || !_isChange(_operations[point]);
}

/** Of a write, where it goes from one sector into the next, in bytes behind its beginning. */
std::vector<std::size_t> CrashStates::_cutsIn(std::size_t number) const {
  const Operation& operation = _operations[number];
  std::vector<std::size_t> cuts;
  if (operation.kind != Kind::WRITE) return cuts;
  std::size_t cut = SECTOR - static_cast<std::size_t>(operation.numbers[0]) % SECTOR;
  for (; cut < operation.bytes.size(); cut += SECTOR) cuts.push_back(cut);
  return cuts;
}

std::string CrashStates::_nameOf(std::size_t number) const {
  return std::to_string(number) + " (" + _operations[number].text + ")";
}

/** Tears one of `done`, if it is a write, wherever a disk may. */
void CrashStates::_addTorn(std::vector<Done> done, std::size_t torn, const std::string& how,
                           std::vector<Choice>& choices) const {
  const std::size_t number = done[torn].number;
  const std::string of = how + ", of " + _nameOf(number);
  for (const std::size_t cut : _cutsIn(number)) {
    const std::string bytes = std::to_string(cut) + " bytes";
    done[torn] = {number, 0, cut};
    choices.push_back({of + " the first " + bytes, done});
    done[torn] = {number, cut};
    choices.push_back({of + " not the first " + bytes, done});
  }
}

void CrashStates::_addLost(const std::vector<Done>& pending, std::vector<Choice>& choices) const {
  for (std::size_t one = 0; one < pending.size(); ++one) {
    std::vector<Done> others = pending;
    others.erase(others.begin() + static_cast<std::ptrdiff_t>(one));
    const std::string name = _nameOf(pending[one].number);
    choices.push_back({"lost " + name, others});
    choices.push_back({"of what was not synced only " + name, {pending[one]}});
  }
}

void CrashStates::_addChance(const std::vector<Done>& pending, std::vector<Choice>& choices) const {
  std::mt19937 draw(static_cast<unsigned int>(pending.back().number));
  for (int number = 1; number <= CHANCE_CHOICES; ++number) {
    std::vector<Done> some;
    for (Done one : pending) {
      if (draw() % 2 == 0) continue;
      const std::vector<std::size_t> cuts = _cutsIn(one.number);
      const bool isTorn = !cuts.empty() && draw() % 2 == 0;
      if (isTorn) (draw() % 2 == 0 ? one.from : one.to) = cuts[draw() % cuts.size()];
      some.push_back(one);
    }
    choices.push_back({"chance choice " + std::to_string(number), some});
  }
}

std::vector<CrashStates::Choice> CrashStates::_choicesAt(std::size_t point,
                                                         const std::vector<Done>& pending) const {
  std::vector<Choice> choices = {{KILL, pending}};
  if (pending.empty()) return choices;
  choices.push_back({POWER_CUT, {}});
  const std::size_t last = pending.size() - 1;
  if (pending[last].number + 1 == point) {
    _addTorn(pending, last, KILL, choices);
    _addTorn({pending[last]}, 0, "the rest lost", choices);
  }
  if (!_isBeforeSync(point)) return choices;
  _addLost(pending, choices);
  // With those behind them.
  for (std::size_t one = 0; one < last; ++one) _addTorn(pending, one, KILL, choices);
  _addChance(pending, choices);
  return choices;
}

template <typename Visit>
void CrashStates::_walk(Visit&& visit) const {
  DiskTree durable = _before;
  std::vector<Done> pending;
  int promises = 0;
  for (std::size_t point = 0; point <= _operations.size(); ++point) {
    visit(point, promises, durable, _choicesAt(point, pending));
    if (point == _operations.size()) return;
    const Operation& operation = _operations[point];
    if (operation.kind == Kind::PROMISE) ++promises;
    if (_isChange(operation)) pending.push_back({point});
    if (!_isSync(operation)) continue;
    const auto isDurable = [&](const Done& one) {
      return _bringsAlong(operation, _operations[one.number]);
    };
    for (const Done& one : pending) {
      if (isDurable(one)) _do(_operations[one.number], durable);
    }
    pending.erase(std::remove_if(pending.begin(), pending.end(), isDurable), pending.end());
  }
}

int CrashStates::forEach(int most, const std::function<void(const CrashState&)>& visit) const {
  int all = 0;
  _walk([&all](std::size_t /*point*/, int /*promises*/, const DiskTree& /*durable*/,
               const std::vector<Choice>& choices) { all += static_cast<int>(choices.size()); });
  const int step = std::max(1, all / most);
  int number = 0;
  std::set<std::size_t> seen;
  _walk([&](std::size_t point, int promises, const DiskTree& durable,
            const std::vector<Choice>& choices) {
    const std::string when = point == 0 ? "at the beginning"
                                        : "after operation " + std::to_string(point - 1) + " (" +
                                              _operations[point - 1].text + ")";
    for (const Choice& choice : choices) {
      const bool isDrawn = number++ % step == 0;
      if (!isDrawn && !_isTelling(point, choice)) continue;
      CrashState state = {when + ": " + choice.how, promises, choice.how == KILL, durable};
      for (const Done& one : choice.done) {
        _do(_operations[one.number], state.tree, one.from, one.to);
      }
      const std::string text = std::to_string(promises) + state.tree.text();
      if (seen.insert(std::hash<std::string>()(text)).second) visit(state);
    }
  });
  return static_cast<int>(seen.size());
}

}  // namespace msg_tarvel
