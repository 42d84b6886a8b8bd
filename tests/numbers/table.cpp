// number-matching-table: prints what devices that compare 7, 8, 9 and 10 digits make of the pairs,
// as a table for docs/number-matching.md. Each answer is the library's own, from a store that has
// one conversation, and from a process that has asked for nothing before: what the library reads of
// its settings it keeps.

#include <app_common.h>
#include <dlog.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_error.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vconf.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "helpers/same_address.h"
#include "helpers/statements.h"
#include "helpers/store_maker.h"
#include "helpers/transaction.h"
#include "numbers/pairs.h"

namespace {

// The device.
std::string dataDirectory;
std::string country;
int digits = 0;

char* copy_of(const std::string& text) { return strdup(text.c_str()); }

}  // namespace

extern "C" {

int __dlog_print(log_id_t /*unused*/, int /*unused*/, const char* /*unused*/,
                 const char* /*unused*/, ...) {
  return 0;
}
int vconf_get_int(const char* /*in_key*/, int* intval) {
  *intval = digits;
  return 0;
}
char* vconf_get_str(const char* /*unused*/) { return copy_of(country); }
char* app_get_data_path() { return copy_of(dataDirectory); }
}

namespace msg_tarvel::numbers {

namespace {

constexpr std::array<int, 4> DIGITS = {7, 8, 9, 10};

enum class Answer { DIFFERENT, ONE_WAY, SAME };
using Answers = std::array<std::array<Answer, DIGITS.size()>, std::size(PAIRS)>;

/** Whether the library finds the conversation of `stored` when it is asked for `wanted`. */
bool is_found(const std::string& stored, const std::string& wanted) {
  const auto statement = helpers::compile(
      "INSERT OR REPLACE INTO msg_address_table (addressId, convId, addressType, "
      "recipientType, address) VALUES (1, 1, 1, 1, ?);",
      "cannot store an address");
  helpers::bind_all(*statement, stored);
  helpers::run(*statement, "cannot store an address");
  Address address;
  address.address = wanted;
  address.addressType = helpers::address_type_of(wanted);
  address.recipientType = 1;
  int convId = 0;
  return db::db_check_thread_address_exist({address}, &convId) == db::DB_SUCCESS;
}

Answer answer_for(const Pair& pair) {
  const bool isOtherFound = is_found(pair.one, pair.other);
  const bool isOneFound = is_found(pair.other, pair.one);
  if (isOtherFound && isOneFound) return Answer::SAME;
  return isOtherFound || isOneFound ? Answer::ONE_WAY : Answer::DIFFERENT;
}

bool is_korean(const Pair& pair) { return std::strcmp(pair.country, "KR") == 0; }

/**
 * The answers of devices that compare the same digits, in a process of its own: those of Korea
 * compare 9 whatever they are told.
 */
void ask_devices(std::size_t setting, bool areKorean, Answers& answers) {
  const pid_t child = fork();
  if (child == 0) {
    digits = DIGITS[setting];
    try {
      const helpers::StoreSession session;
      const helpers::Transaction transaction;  // which nobody commits
      for (std::size_t i = 0; i < std::size(PAIRS); ++i) {
        if (is_korean(PAIRS[i]) != areKorean) continue;
        country = PAIRS[i].country;
        answers[i][setting] = answer_for(PAIRS[i]);
      }
    } catch (const std::exception& error) {
      std::cerr << error.what() << "\n";
      std::_Exit(EXIT_FAILURE);
    }
    std::_Exit(EXIT_SUCCESS);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || status != 0) {
    throw std::runtime_error("a device did not answer");
  }
}

/** Memory that the processes share. */
Answers& shared_answers() {
  void* const memory =
      mmap(nullptr, sizeof(Answers), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::runtime_error("no memory");
  return *static_cast<Answers*>(memory);
}

const Answers& ask() {
  std::string folder = std::filesystem::temp_directory_path() / "numbers-XXXXXX";
  if (!mkdtemp(folder.data())) throw std::runtime_error("cannot make a directory");
  dataDirectory = folder + "/";
  Answers& answers = shared_answers();
  {
    const helpers::StoreSession session;
    helpers::make_store();
  }
  for (std::size_t setting = 0; setting < DIGITS.size(); ++setting) {
    ask_devices(setting, false, answers);
    ask_devices(setting, true, answers);
  }
  std::filesystem::remove_all(folder);
  return answers;
}

/** What is wrong stands out. */
std::string cell(Answer answer, bool isSame) {
  const Answer right = isSame ? Answer::SAME : Answer::DIFFERENT;
  const char* const words = answer == Answer::SAME      ? "same"
                            : answer == Answer::ONE_WAY ? "one way"
                                                        : "different";
  return answer == right ? words : std::string("**") + words + "**";
}

void print(const Answers& answers) {
  std::cout << "| Device | One | Other | What it is | Right | 7 | 8 | 9 | 10 |\n"
               "|---|---|---|---|---|---|---|---|---|\n";
  for (std::size_t i = 0; i < std::size(PAIRS); ++i) {
    const Pair& pair = PAIRS[i];
    std::cout << "| " << pair.country << " | `" << pair.one << "` | `" << pair.other << "` | "
              << pair.what << " | " << (pair.isSame ? "same" : "different");
    for (const Answer answer : answers[i]) std::cout << " | " << cell(answer, pair.isSame);
    std::cout << " |\n";
  }
}

void print_sums(const Answers& answers) {
  std::cout << "| wrong of " << std::size(PAIRS) << " | | | | ";
  for (std::size_t setting = 0; setting < DIGITS.size(); ++setting) {
    int wrong = 0;
    for (std::size_t i = 0; i < std::size(PAIRS); ++i) {
      const Answer right = PAIRS[i].isSame ? Answer::SAME : Answer::DIFFERENT;
      if (answers[i][setting] != right) ++wrong;
    }
    std::cout << "| " << wrong << " ";
  }
  std::cout << "|\n";
}

}  // namespace

}  // namespace msg_tarvel::numbers

int main() {
  using namespace msg_tarvel::numbers;  // NOLINT(google-build-using-namespace): the program itself
  try {
    const Answers& answers = ask();
    print(answers);
    print_sums(answers);
  } catch (const std::exception& error) {
    std::cerr << "number-matching-table: " << error.what() << "\n";
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
