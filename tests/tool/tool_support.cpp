#include "tool/tool_support.h"

#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace msg_tarvel {

namespace {

/** `defaults` with the values of `changed` in their place, and what is new behind them. */
Attributes merged(Attributes defaults, const Attributes& changed) {
  for (const auto& [name, value] : changed) {
    const std::string wanted = name;
    const auto known = std::find_if(defaults.begin(), defaults.end(),
                                    [&wanted](const auto& one) { return one.first == wanted; });
    if (known == defaults.end()) {
      defaults.emplace_back(name, value);
    } else {
      known->second = value;
    }
  }
  return defaults;
}

}  // namespace

std::string element(const std::string& name, const Attributes& attributes,
                    const std::string& children) {
  std::string text = "<" + name;
  for (const auto& [attribute, value] : attributes) text += " " + attribute + "=\"" + value + "\"";
  return children.empty() ? text + "/>\n" : text + ">\n" + children + "</" + name + ">\n";
}

std::string sms(const Attributes& changed) {
  return element("sms", merged({{"address", "+14155550111"},
                                {"date", "1740000000000"},
                                {"type", "1"},
                                {"subject", "null"},
                                {"body", "Hello"},
                                {"read", "1"}},
                               changed));
}

std::string mms(const Attributes& changed, const std::string& parts, const std::string& addrs) {
  return element("mms",
                 merged({{"address", "+14155550111"},
                         {"date", "1740000000000"},
                         {"msg_box", "1"},
                         {"sub", "null"},
                         {"read", "1"},
                         {"m_type", "132"}},
                        changed),
                 element("parts", {}, parts) + element("addrs", {}, addrs));
}

std::string text_part(const std::string& text) {
  return element("part", {{"seq", "0"}, {"ct", "text/plain"}, {"cl", "text.txt"}, {"text", text}});
}

std::string data_part(const std::string& contentType, const std::string& data,
                      const std::string& name) {
  return element(
      "part", {{"seq", "0"}, {"ct", contentType}, {"cl", name}, {"text", "null"}, {"data", data}});
}

std::string addrs(const std::vector<std::pair<int, std::string>>& typesAndAddresses) {
  std::string elements;
  for (const auto& [type, address] : typesAndAddresses) {
    elements += element("addr", {{"address", address}, {"type", std::to_string(type)}});
  }
  return elements;
}

std::string backup(const std::string& elements) {
  return "<?xml version='1.0' encoding='UTF-8' standalone='yes' ?>\n<smses count=\"1\">\n" +
         elements + "</smses>\n";
}

std::vector<std::string> ToolTest::environment() const {
  return {"MSG_TARVEL_DATA_DIR=" + dataDir(), "MSG_TARVEL_SETTINGS=" + folder() + "/settings.ini",
          "TZ=UTC0", "COLUMNS=80"};
}

void ToolTest::useProgramForEveryone() {
  namespace fs = std::filesystem;
  const std::string bin = folder() + "/bin";
  fs::create_directory(bin);
  _program = bin + "/msg-tarvel";
  fs::copy_file(TOOL_PROGRAM, _program);
  for (const fs::directory_entry& library : fs::directory_iterator(LIBRARY_DIR)) {
    fs::copy_file(library.path(), bin + "/" + library.path().filename().string());
  }
  setenv("LD_LIBRARY_PATH", bin.c_str(), 1);
}

ProcessResult ToolTest::run(const std::vector<std::string>& arguments,
                            const std::vector<std::string>& extraEnvironment) const {
  std::vector<std::string> command = {_program};
  command.insert(command.end(), arguments.begin(), arguments.end());
  std::vector<std::string> variables = environment();
  variables.insert(variables.end(), extraEnvironment.begin(), extraEnvironment.end());
  return run_program(command, variables);
}

std::vector<std::string> ToolTest::command(const std::vector<std::string>& arguments) const {
  std::vector<std::string> program = {_program};
  program.insert(program.end(), arguments.begin(), arguments.end());
  program = runnable(program);
  std::vector<std::string> command = {"env"};
  for (const std::string& variable : environment()) command.push_back(variable);
  command.insert(command.end(), program.begin(), program.end());
  return command;
}

ProcessResult ToolTest::runOnTerminal(
    const std::vector<std::string>& arguments,
    const std::function<void(const std::string&, pid_t)>& onOutput, unsigned short width,
    const std::vector<std::string>& inFront) const {
  winsize size = {24, width, 0, 0};
  int terminal = -1;
  const pid_t pid = forkpty(&terminal, nullptr, nullptr, &size);
  if (pid == 0) {
    std::vector<std::string> whole = inFront;
    for (std::string& word : command(arguments)) whole.push_back(std::move(word));
    execute(whole);
    _exit(127);
  }
  ProcessResult result;
  char buffer[4096];
  for (ssize_t count = 0; (count = read(terminal, buffer, sizeof buffer)) > 0;) {
    result.out.append(buffer, static_cast<std::size_t>(count));
    onOutput(result.out, pid);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  close(terminal);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

ProcessResult ToolTest::runWithLittleMemory(const std::vector<std::string>& arguments) const {
  // AddressSanitizer takes 64 MB for itself, and keeps what is freed from being used again.
#ifdef TEST_OF_INSTRUMENTED
  constexpr long MOST = 128L * 1024;
#else
  constexpr long MOST = 64L * 1024;
#endif
  ProcessResult result = run(arguments, {"ASAN_OPTIONS=quarantine_size_mb=4"});
  rusage usage = {};
  EXPECT_EQ(getrusage(RUSAGE_CHILDREN, &usage), 0);
  EXPECT_LT(usage.ru_maxrss, MOST);
  return result;
}

nlohmann::json ToolTest::json(std::vector<std::string> arguments) const {
  arguments.emplace_back("--json");
  const ProcessResult result = run(arguments);
  EXPECT_EQ(result.status, 0) << arguments.front() << ": " << result.err;
  return nlohmann::json::parse(result.out, nullptr, false);
}

void ToolTest::expectFailure(const ProcessResult& result, const std::string& beginning,
                             const std::string& ending) {
  EXPECT_EQ(result.status, 3) << result.err;
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err.rfind("msg-tarvel: " + beginning, 0), 0U) << result.err;
  EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
  const std::string end = ending + "\n";
  ASSERT_GE(result.err.size(), end.size());
  EXPECT_EQ(result.err.substr(result.err.size() - end.size()), end);
}

void ToolTest::create() const {
  const ProcessResult result = run({"create"});
  ASSERT_EQ(result.status, 0) << result.err;
}

std::string ToolTest::file(const std::string& name, const std::string& content) const {
  std::string path = folder() + "/" + name;
  std::ofstream(path, std::ios::binary) << content;
  return path;
}

nlohmann::json ToolTest::import(const std::string& elements,
                                const std::vector<std::string>& options) const {
  std::vector<std::string> arguments = {"import", file("backup.xml", backup(elements))};
  arguments.insert(arguments.end(), options.begin(), options.end());
  return json(arguments);
}

std::string ToolTest::rows(const std::string& sql) const {
  RawConnection connection(dbFile());
  std::string text;
  for (const std::string& value : connection.column(sql)) text += value + "\n";
  return text;
}

std::vector<std::string> ToolTest::mediaFiles() const {
  std::vector<std::string> names;
  std::error_code missing;
  for (const auto& entry : std::filesystem::directory_iterator(mediaDir(), missing)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string ToolTest::everything() const {
  std::string text;
  for (const std::string table : {"msg_conversation_table", "msg_address_table",
                                  "msg_message_table", "msg_mms_content_table"}) {
    std::string columns;
    RawConnection connection(dbFile());
    for (const std::string& column :
         connection.column("SELECT name FROM pragma_table_info('" + table + "');")) {
      columns += (columns.empty() ? "quote(" : " || ',' || quote(") + column + ")";
    }
    text += table + "\n" + rows("SELECT " + columns + " FROM " + table + ";");
  }
  for (const std::string& name : mediaFiles()) text += name + "\n";
  return text;
}

std::string content_of(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::stringstream text;
  text << stream.rdbuf();
  return text.str();
}

}  // namespace msg_tarvel
