// docs/ipc.md says of the commands what the registry says, and of the slots what the mapping does.

#include <gtest/gtest.h>
#include <msg-tarvel-common/ipc/MsgIPC.h>

#include <fstream>
#include <sstream>
#include <string>

#include "helpers/record_mapping.h"

namespace msg_tarvel::helpers {

namespace {

std::string text_of(const std::string& path) {
  std::ifstream file(std::string(SOURCE_DIR) + "/" + path);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

std::string document() { return text_of("docs/ipc.md"); }

/** What stands between a heading and the next one. */
std::string section(const std::string& text, const std::string& heading) {
  const std::size_t start = text.find("\n" + heading + "\n");
  if (start == std::string::npos) return "";
  return text.substr(start, text.find("\n#", start + 1) - start);
}

TEST(IpcDocument, ListsEveryCommand) {
  const std::string commands = section(document(), "## Commands");
  const MsgIPC registry;
  for (int number = 0; number < MsgIPC::IPC_COMMAND_NONE; ++number) {
    const auto command = static_cast<MsgIPC::IpcCommand>(number);
    const std::string name = registry.getCmdString(command);
    if (name.empty()) continue;
    const std::string wrapped = registry.getCmdStruct(command);
    const std::string row = "\n| " + std::to_string(number) + " | `" + name + "` | `" +
                            wrapped.substr(1, wrapped.size() - 2) + "` | `" + wrapped + "` | ";
    EXPECT_NE(commands.find(row), std::string::npos) << row;
  }
}

TEST(IpcDocument, ListsEverySlot) {
  struct Table {
    const char* heading;
    RecordKind kind;
    int slots;
  };
  const Table tables[] = {
      {"### Message", RecordKind::MESSAGE, 21},
      {"### Address", RecordKind::ADDRESS, 5},
      {"### Content", RecordKind::CONTENT, 14},
      {"### Message metadata", RecordKind::MESSAGE_METADATA, 14},
      {"### Content metadata", RecordKind::CONTENT_METADATA, 6},
  };
  const std::string text = document();
  for (const Table& table : tables) {
    const std::string rows = section(text, table.heading);
    for (int slot = 0; slot < table.slots; ++slot) {
      const std::string meaning = slot_meaning(table.kind, slot);
      const std::string row =
          "\n| " + std::to_string(slot) + " | " + (meaning.empty() ? "0" : meaning) + " | ";
      EXPECT_NE(rows.find(row), std::string::npos) << table.heading << row;
    }
  }
}

TEST(IpcDocument, ShowsTheExamplesCodeAsItStands) {
  const std::string programs =
      text_of("examples/handover/owner.cpp") + text_of("examples/handover/client.cpp");
  const std::string opening = "```cpp\n";
  const std::string text = document();
  int shown = 0;
  for (std::size_t at = text.find(opening); at != std::string::npos; at = text.find(opening, at)) {
    at += opening.size();
    const std::string code = text.substr(at, text.find("```\n", at) - at);
    EXPECT_NE(programs.find(code), std::string::npos) << code;
    ++shown;
  }
  EXPECT_EQ(shown, 5);
}

}  // namespace

}  // namespace msg_tarvel::helpers
