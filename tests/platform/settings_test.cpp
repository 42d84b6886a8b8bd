#include <sys/stat.h>
#include <vconf.h>

#include <cstdlib>
#include <limits>
#include <optional>

#include "platform/platform_test.h"
#include "support/setting_names.h"
#include "support/text_file.h"

namespace msg_tarvel::platform_test {

std::optional<std::string> text(const char* key) {
  char* const value = vconf_get_str(key);
  if (!value) return std::nullopt;
  std::string copy = value;
  std::free(value);
  return copy;
}

/** The number under `key`; none when the read fails, which must leave the caller's number alone. */
std::optional<int> number(const char* key) {
  int value = -12345;
  const int result = vconf_get_int(key, &value);
  if (result < 0) {
    EXPECT_EQ(value, -12345);
    return std::nullopt;
  }
  EXPECT_EQ(result, 0);
  return value;
}

void expect_values(std::optional<int> minMatch, std::optional<int> standalone,
                   const std::optional<std::string>& country,
                   const std::optional<std::string>& salesCode) {
  EXPECT_EQ(number(MIN_MATCH), minMatch);
  EXPECT_EQ(number(STANDALONE), standalone);
  EXPECT_EQ(text(COUNTRY), country);
  EXPECT_EQ(text(SALES_CODE), salesCode);
}

void expect_factory_values() { expect_values(8, 0, "US", "NONE"); }

void expect_nothing_readable() {
  expect_values(std::nullopt, std::nullopt, std::nullopt, std::nullopt);
}

/** Expects one error line, which names `subject` and goes on with a reason. */
constexpr const char* NO_FILE = "Not a regular file";

void expect_one_error(const std::string& standardError, const std::string& subject) {
  const Log log = log_in(standardError);
  ASSERT_EQ(log.size(), 1U) << standardError;
  EXPECT_EQ(log[0].first, "CRITICAL");
  const std::string& message = log[0].second;
  const std::size_t found = message.find(subject);
  ASSERT_NE(found, std::string::npos) << message;
  // A reason follows, where the subject does not end with it.
  const std::size_t reason = subject.find(NO_FILE) == std::string::npos ? 11 : 0;
  EXPECT_GE(message.size(), found + subject.size() + reason) << message;
}

const std::string ALL_FOUR =
    "# the settings of a test\n"
    "[db/contacts-svc]\nphonenumber_min_match_digit=7\n"
    "[db/setup_wizard]\nstandalone = 1\n"
    "[db/csc]\ncountry_iso=KR\nsalescode=ATT\n";

const std::string BROKEN = "[db/csc]\ncountry_iso=KR\nthis is no setting\n";

/** Settings in the file that $MSG_TARVEL_SETTINGS names, which is not there yet. */
class Settings : public PlatformTest {
 protected:
  Settings() { setEnvironment("MSG_TARVEL_SETTINGS", file()); }

  std::string file() const { return folder() + "/settings of mine"; }
  void write(const std::string& content) const { write_file(file(), content); }
};

TEST_F(Settings, WithoutAFileAreThoseOfTheFactory) {
  EXPECT_EQ(standard_error_of(expect_factory_values), "");
}

TEST_F(Settings, OfAnEmptyFileAreThoseOfTheFactory) {
  write("");
  EXPECT_EQ(standard_error_of(expect_factory_values), "");
}

TEST_F(Settings, AreReadFromTheFile) {
  write(ALL_FOUR);
  EXPECT_EQ(standard_error_of([] { expect_values(7, 1, "KR", "ATT"); }), "");
}

TEST_F(Settings, MissingFromTheFileAreThoseOfTheFactory) {
  write("[db/csc]\nsalescode=ATT\n[another group]\nstandalone=1\n");
  EXPECT_EQ(standard_error_of([] { expect_values(8, 0, "US", "ATT"); }), "");
}

TEST_F(Settings, AreReadAnewEachTime) {
  for (const int digits : {6, 7}) {
    write("[db/contacts-svc]\nphonenumber_min_match_digit=" + std::to_string(digits) + "\n");
    EXPECT_EQ(number(MIN_MATCH), digits);
  }
  std::filesystem::remove(file());
  EXPECT_EQ(number(MIN_MATCH), 8);
}

TEST_F(Settings, OfAnotherNameAreReadWhenTheFileHasThem) {
  write("[db/of/mine]\ncolour=green\ncount=3\nempty=\n");
  EXPECT_EQ(text("db/of/mine/colour"), "green");
  EXPECT_EQ(number("db/of/mine/count"), 3);
  EXPECT_EQ(text("db/of/mine/empty"), "");
}

TEST_F(Settings, OfAnotherNameHaveNoFactoryValue) {
  write(ALL_FOUR);
  EXPECT_EQ(standard_error_of([] {
              for (const char* key : {"db/csc/unknown", "db/unknown/salescode", "salescode", "/",
                                      "db/csc/", "", "db/csc/salescod"}) {
                EXPECT_EQ(text(key), std::nullopt) << key;
                EXPECT_EQ(number(key), std::nullopt) << key;
              }
            }),
            "");
}

TEST_F(Settings, AreNotReadThroughNullPointers) {
  EXPECT_EQ(text(nullptr), std::nullopt);
  EXPECT_EQ(number(nullptr), std::nullopt);
  EXPECT_LT(vconf_get_int(MIN_MATCH, nullptr), 0);
}

TEST_F(Settings, OfAnUnparsableFileCannotBeReadWhichIsSaidOnce) {
  write(BROKEN);
  const std::string log = standard_error_of([] {
    expect_nothing_readable();
    expect_nothing_readable();
  });
  expect_one_error(log, file());
}

TEST_F(Settings, OfAFileThatIsNoFileCannotBeReadWhichIsSaidOnce) {
  std::filesystem::create_directory(file());
  expect_one_error(standard_error_of(expect_nothing_readable), file());
}

// Nobody writes into the pipe: who waited for that would never end.
TEST_F(Settings, OfAPipeCannotBeReadWhichIsSaidOnce) {
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  expect_one_error(standard_error_of(expect_nothing_readable),
                   file() + " cannot be read: " + NO_FILE);
}

TEST_F(Settings, OfADeviceCannotBeReadWhichIsSaidOnce) {
  setEnvironment("MSG_TARVEL_SETTINGS", "/dev/null");
  expect_one_error(standard_error_of(expect_nothing_readable),
                   std::string("/dev/null cannot be read: ") + NO_FILE);
}

TEST_F(Settings, OfALongFileAreReadToItsEnd) {
  write("# " + std::string(100000, 'x') + "\n" + ALL_FOUR);
  EXPECT_EQ(standard_error_of([] { expect_values(7, 1, "KR", "ATT"); }), "");
}

TEST_F(Settings, OfAFileThatBecomesGoodAreReadAgain) {
  write(BROKEN);
  expect_one_error(standard_error_of(expect_nothing_readable), file());
  write(ALL_FOUR);
  EXPECT_EQ(standard_error_of([] { expect_values(7, 1, "KR", "ATT"); }), "");
  write(BROKEN);
  expect_one_error(standard_error_of(expect_nothing_readable), file());
}

TEST_F(Settings, TakeEveryNumberOfThirtyTwoBits) {
  using Limits = std::numeric_limits<int>;
  for (const int value : {0, 1, -1, 10, Limits::max(), Limits::min()}) {
    write("[db/setup_wizard]\nstandalone=" + std::to_string(value) + "\n");
    EXPECT_EQ(standard_error_of([value] { EXPECT_EQ(number(STANDALONE), value); }), "");
  }
}

TEST_F(Settings, ThatAreNoSuchNumberCannotBeReadAsOne) {
  for (const std::string value : {"two", "", "1.5", "0x10", "1 2", "2147483648", "-2147483649",
                                  "99999999999999999999", "%s%n"}) {
    write("[db/setup_wizard]\nstandalone=" + value + "\n");
    const std::string log = standard_error_of([] { EXPECT_EQ(number(STANDALONE), std::nullopt); });
    expect_one_error(log, STANDALONE);
    EXPECT_EQ(text(STANDALONE), value);
  }
}

TEST_F(Settings, ThatAreNotTextCannotBeReadAsAny) {
  write("[db/csc]\nsalescode=\xff\xfe\n");
  const std::string log = standard_error_of([] { EXPECT_EQ(text(SALES_CODE), std::nullopt); });
  expect_one_error(log, SALES_CODE);
  EXPECT_EQ(text(COUNTRY), "US");
}

TEST_F(Settings, OfTheFactoryKeepTheirTypesToo) {
  EXPECT_EQ(text(MIN_MATCH), "8");
  expect_one_error(standard_error_of([] { EXPECT_EQ(number(SALES_CODE), std::nullopt); }),
                   SALES_CODE);
}

// ---- Where the file is -------------------------------------------------------------------------

class SettingsPlace : public PlatformTest {
 protected:
  void writeBelow(const std::string& directory) const {
    std::filesystem::create_directories(directory + "/msg-tarvel");
    write_file(directory + "/msg-tarvel/settings.ini", ALL_FOUR);
  }
};

TEST_F(SettingsPlace, IsBelowTheUsersConfigurationDirectory) {
  setEnvironment("XDG_CONFIG_HOME", folder() + "/etc");
  expect_factory_values();
  writeBelow(folder() + "/etc");
  expect_values(7, 1, "KR", "ATT");
}

TEST_F(SettingsPlace, IsBelowHomeWithoutAConfigurationDirectory) {
  unsetenv("XDG_CONFIG_HOME");
  writeBelow(folder() + "/.config");
  expect_values(7, 1, "KR", "ATT");
}

TEST_F(SettingsPlace, IsTheVariablesWhenThereIsOne) {
  writeBelow(folder());
  setEnvironment("MSG_TARVEL_SETTINGS", folder() + "/missing");
  expect_factory_values();
  setEnvironment("MSG_TARVEL_SETTINGS", "");
  expect_values(7, 1, "KR", "ATT");
}

/** The user's real file may be there or not: what it says is compared, whatever it is. */
TEST_F(SettingsPlace, IsFoundWithoutHome) {
  const std::string file = home_of_user() + "/.config/msg-tarvel/settings.ini";
  for (const char* key : {MIN_MATCH, STANDALONE, COUNTRY, SALES_CODE}) {
    const auto expected = run_platform({"string", key}, {"MSG_TARVEL_SETTINGS=" + file});
    const auto result = run_platform({"string", key}, {"HOME", "XDG_CONFIG_HOME"});
    EXPECT_EQ(result.status, expected.status);
    EXPECT_EQ(result.out, expected.out);
    EXPECT_EQ(result.err.empty(), expected.err.empty());
  }
  const auto withDirectory = run_platform({"number", MIN_MATCH}, {"HOME"});
  EXPECT_EQ(withDirectory.status, 0);
  EXPECT_EQ(withDirectory.out, "8\n");
  EXPECT_EQ(withDirectory.err, "");
}

}  // namespace msg_tarvel::platform_test
