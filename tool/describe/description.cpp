#include "describe/description.h"

#include <algorithm>

namespace msg_tarvel::tool {

namespace {

template <typename Filter>
std::vector<const CLI::Option*> filtered(const CLI::App& app, Filter filter) {
  return app.get_options([&filter](const CLI::Option* option) { return filter(*option); });
}

}  // namespace

std::vector<const CLI::App*> commands_of(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* /*each*/) { return true; });
}

std::vector<const CLI::Option*> options_of(const CLI::App& app) {
  return filtered(app, [&app](const CLI::Option& option) {
    return !option.get_positional() && &option != app.get_help_ptr() &&
           &option != app.get_help_all_ptr();
  });
}

std::vector<const CLI::Option*> arguments_of(const CLI::App& app) {
  return filtered(app, [](const CLI::Option& option) { return option.get_positional(); });
}

std::vector<std::string> spellings_of(const CLI::Option& option) {
  std::vector<std::string> spellings;
  for (const std::string& name : option.get_snames()) spellings.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) spellings.push_back("--" + name);
  return spellings;
}

bool takes_value(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

}  // namespace msg_tarvel::tool
