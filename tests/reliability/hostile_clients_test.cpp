// The example owner under clients that mean harm: calls of every wrong kind as fast as they can be
// sent, and clients that are gone in the middle of a call. It goes on serving, and keeps nothing.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "e2e/handover.h"
#include "helpers/record_mapping.h"
#include "reliability/extent.h"
#include "support/message_text.h"

namespace msg_tarvel {

namespace {

using Draw = std::mt19937;

#ifdef TEST_OF_INSTRUMENTED
constexpr bool IS_MEMORY_KNOWN =
    false;  // freed memory is kept for a while; leaks are told at the end
#else
constexpr bool IS_MEMORY_KNOWN = true;
#endif

std::string damaged(Draw& draw, std::string buffer) {
  for (int change = static_cast<int>(draw() % 4); change >= 0; --change) {
    buffer[draw() % buffer.size()] = static_cast<char>(draw() % 256);
  }
  if (draw() % 4 == 0) buffer.resize(draw() % buffer.size());
  return buffer;
}

/** What is known of a process from outside. */
struct Holdings {
  long descriptors = 0;
  long kilobytes = 0;
};

Holdings holdings_of(pid_t process) {
  const std::string folder = "/proc/" + std::to_string(process);
  Holdings held;
  for (const auto& entry : std::filesystem::directory_iterator(folder + "/fd")) {
    held.descriptors += entry.path().empty() ? 0 : 1;
  }
  long all = 0;
  std::ifstream(folder + "/statm") >> all >> held.kilobytes;
  held.kilobytes *= sysconf(_SC_PAGESIZE) / 1024;
  return held;
}

/** A method and parameters, floating, that go together seldom. */
struct Call {
  const char* method;
  GVariant* parameters;
};

class HostileClients : public Handover {
 protected:
  HostileClients() {
    EXPECT_EQ(addMessage("+14155550100", "first").id, 1);
    _good = helpers::to_buffer(full_message());
  }

  const std::string& good() const { return _good; }

  /** The owner still does what it is asked for. */
  void expectService() {
    const Answer answer = addMessage("+14155550100", "still there");
    EXPECT_EQ(answer.error, "") << answer.text;
    EXPECT_EQ(store().value("SELECT mainText FROM msg_message_table WHERE msgId = " +
                            std::to_string(answer.id) + ";"),
              "still there");
    EXPECT_EQ(store().value("PRAGMA integrity_check;"), "ok");
  }

  void expectError(const Call& wrong) {
    g_autofree char* parameters = g_variant_print(wrong.parameters, TRUE);
    const Answer answer = call(wrong.method, wrong.parameters);
    const std::set<std::string> errors = {"org.freedesktop.DBus.Error.InvalidArgs",
                                          "org.freedesktop.DBus.Error.NotSupported",
                                          "org.freedesktop.DBus.Error.UnknownMethod"};
    EXPECT_EQ(errors.count(answer.error), 1U)
        << wrong.method << parameters << ": " << answer.error << " " << answer.text;
  }

  /** So many messages, once the bus has brought them all. */
  void expectHandedOver(int count) {
    const std::string expected = std::to_string(count);
    const auto arrived = [this] {
      return *store().value(
          "SELECT count(*) FROM msg_message_table WHERE mainText NOT IN ('first', 'still there');");
    };
    for (int tenths = 0; tenths < 100 && arrived() != expected; ++tenths) usleep(100'000);
    EXPECT_EQ(arrived(), expected);
  }

  /** Nothing was kept, but for a little memory; SQLite's cache grows with the store. */
  void expectHoldings(const Holdings& before, const std::string& after) {
    const long mostKilobytes = is_whole_run() ? 500 : 200;
    const Holdings now = holdings_of(owner());
    EXPECT_LE(now.descriptors, before.descriptors);
    const long grown = now.kilobytes - before.kilobytes;
    if (IS_MEMORY_KNOWN) {
      EXPECT_LT(grown, mostKilobytes);
    }
    print_figure(after + ", memory grew by " + std::to_string(grown) + " KB");
  }

 private:
  std::string _good;
};

// ---- Malformed calls ---------------------------------------------------------------------------

const char* const METHODS[] = {
    "read_message",    "read_thread",     "delete_message", "delete_thread",
    "add_message",     "nms_add_message", "send_message",   "nms_update_subscription_info",
    "export_to_phone", "no_such_method"};

/** What no method takes. */
const char* const WRONG_PARAMETERS[] = {"()",
                                        "('1', 1)",
                                        "(<b'no message'>, 0)",
                                        "(<<<<<b'deep'>>>>>, 0)",
                                        "(<[1, 2]>, 7)",
                                        "(<''>, -1)",
                                        "('', 1, 'sms', '', '', 0)",
                                        "(true,)",
                                        "(@a{sv} {},)",
                                        "(uint64 1, 'token', 3)"};

/** What is right for one or the other. */
const char* const ODD_PARAMETERS[] = {"(1,)", "(-1, 2147483647)", "('a', 99, 'sms', 'm', 't', 0)"};

template <std::size_t COUNT>
const char* one_of(Draw& draw, const char* const (&texts)[COUNT]) {
  return texts[draw() % COUNT];
}

/** It gets an error. */
Call wrong_call(Draw& draw) {
  return {one_of(draw, METHODS), g_variant_new_parsed(one_of(draw, WRONG_PARAMETERS))};
}

/** Most get an error. */
Call malformed_call(Draw& draw, const std::string& good) {
  switch (draw() % 8) {
    case 0:
      return {one_of(draw, METHODS), g_variant_new_parsed(one_of(draw, ODD_PARAMETERS))};
    case 1:
    case 2:
    case 3:
      return wrong_call(draw);
    default:
      break;
  }
  const std::string bytes = damaged(draw, good);
  GVariant* const array =
      g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1);
  return {"nms_add_message", g_variant_new("(vi)", array, 1 + static_cast<int>(draw() % 3))};
}

TEST_F(HostileClients, GetTheirErrorsAndStopNothing) {
  const int rounds = is_whole_run() ? 400 : 8;
  constexpr int CALLS_PER_ROUND = 100;
  constexpr int CALLS_PER_ANSWER = 50;
  Draw draw(6);
  Holdings before;
  for (int round = 0; round < rounds; ++round) {
    for (int i = 0; i < CALLS_PER_ROUND; ++i) {
      if (i % CALLS_PER_ANSWER == 0) {
        expectError(wrong_call(draw));
        continue;
      }
      const Call call = malformed_call(draw, good());
      // Nobody waits for the replies.
      g_autoptr(GDBusMessage) message = g_dbus_message_new_method_call(
          handover::BUS_NAME, handover::OBJECT_PATH, handover::INTERFACE, call.method);
      g_dbus_message_set_body(message, call.parameters);
      ASSERT_TRUE(g_dbus_connection_send_message(connection(), message,
                                                 G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr));
    }
    // Its answer comes after all of theirs.
    expectService();
    if (HasFailure()) return;
    if (round == rounds / 4) before = holdings_of(owner());
  }
  expectHoldings(before,
                 "malformed calls to the owner: " + std::to_string(rounds * CALLS_PER_ROUND));
}

// ---- Clients that are gone ---------------------------------------------------------------------

/** A connection to a bus that is made by hand, so that it can end anywhere. */
class RawClient {
 public:
  explicit RawClient(const std::string& address)
      : _socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const std::string key = "unix:path=";
    EXPECT_EQ(address.rfind(key, 0), 0U) << address;
    const std::string path = address.substr(key.size(), address.find(',') - key.size());
    sockaddr_un place = {};
    place.sun_family = AF_UNIX;
    std::strncpy(place.sun_path, path.c_str(), sizeof place.sun_path - 1);
    EXPECT_EQ(connect(_socket, reinterpret_cast<const sockaddr*>(&place), sizeof place), 0) << path;
  }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;
  ~RawClient() { close(_socket); }

  void authenticate() {
    std::string user;
    for (const char digit : std::to_string(getuid())) {
      user += {'3', digit};  // the digit in hexadecimal ASCII
    }
    send(std::string(1, '\0') + "AUTH EXTERNAL " + user + "\r\n");
    EXPECT_EQ(receive().rfind("OK ", 0), 0U);
    send("BEGIN\r\n");
  }

  void send(const std::string& bytes) {
    EXPECT_EQ(::send(_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }

  std::string receive() {
    char buffer[4096];
    const ssize_t count = read(_socket, buffer, sizeof buffer);
    return {buffer, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
  }

 private:
  int _socket;
};

std::string as_bytes(GDBusMessage* message, guint32 serial) {
  g_dbus_message_set_serial(message, serial);
  gsize size = 0;
  g_autofree guchar* blob =
      g_dbus_message_to_blob(message, &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);
  g_object_unref(message);
  return {reinterpret_cast<char*>(blob), size};
}

std::string hello() {
  return as_bytes(g_dbus_message_new_method_call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                 "org.freedesktop.DBus", "Hello"),
                  1);
}

std::string hand_over(const std::string& buffer) {
  GDBusMessage* const message = g_dbus_message_new_method_call(
      handover::BUS_NAME, handover::OBJECT_PATH, handover::INTERFACE, "nms_add_message");
  GVariant* const bytes =
      g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, buffer.data(), buffer.size(), 1);
  g_dbus_message_set_body(message, g_variant_new("(vi)", bytes, 0));
  return as_bytes(message, 2);
}

TEST_F(HostileClients, MayGoInTheMiddleOfACall) {
  const int clients = is_whole_run() ? 2000 : 40;
  const std::string call = hand_over(good());
  Draw draw(7);
  int sent = 0;
  Holdings before;
  for (int number = 0; number < clients && !HasFailure(); ++number) {
    RawClient client(busAddress());
    if (number % 8 != 0) client.authenticate();
    // All of the call, or a part of it, at which the bus may have looked or not.
    const bool isWhole = number % 2 == 1;
    const std::string all = hello() + call;
    client.send(isWhole ? all : all.substr(0, draw() % all.size()));
    if (isWhole) ++sent;
    if (number % 3 == 0) usleep(static_cast<useconds_t>(draw() % 2000));
    if (number % 16 == 15) expectService();
    if (number == clients / 4) before = holdings_of(owner());
  }
  expectService();
  // Who sent the whole of it is served, there or not.
  expectHandedOver(sent);
  expectHoldings(before, "clients that go in the middle of a call: " + std::to_string(clients));
}

}  // namespace

}  // namespace msg_tarvel
