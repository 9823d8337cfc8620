// The local agent's operations, called in-process against a state file in a
// scratch directory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <thread>
#include <vector>

#include "pane/agent/agent_state.h"
#include "pane/agent/agent_test_support.h"
#include "pane/agent/quil.h"

namespace tessary::agent {
namespace {

using testing::AgentDir;
using testing::write_file;

class LocalAgent : public AgentDir {};

std::string pascal(const unsigned char *buffer) {
  return std::string(reinterpret_cast<const char *>(buffer + 1), buffer[0]);
}

// Every operation, with outputs that must stay as they were when it fails.
void expect_every_operation_fails(QuilResult code) {
  uint16_t version = 0xAAAA;
  long a = 77, b = 77, c = 77;
  unsigned char text[QUIL_TEXT_SIZE] = {9};
  unsigned char block[QUIL_PREF_SIZE] = {9};
  unsigned char address[] = {3, '1', '.', '2'};
  EXPECT_EQ(QuilVersion(&version, nullptr), code);
  EXPECT_EQ(QuilGetSessionStatus(nullptr, &a, &b, &c), code);
  EXPECT_EQ(QuilGetSessionEx(nullptr, 0, text, text, text, 0), code);
  EXPECT_EQ(QuilAuditInfo(&a, 0, 0), code);
  EXPECT_EQ(QuilGetSessionTrust(nullptr, &a), code);
  EXPECT_EQ(QuilGetOptions(nullptr, &a, &b), code);
  EXPECT_EQ(QuilSetOptions(nullptr, 0x80, 0x80), code);
  EXPECT_EQ(QuilGetPrefData(nullptr, QUIL_PREF_IPV4_BACKUPS, 0, 512, block, 0), code);
  EXPECT_EQ(QuilSetTransport(1, address), code);
  EXPECT_EQ(QuilAuthenticate(nullptr), code);
  EXPECT_EQ(QuilMessageEx(address, 0, 0, 0), code);
  EXPECT_EQ(version, 0xAAAA);
  EXPECT_EQ(a, 77);
  EXPECT_EQ(b, 77);
  EXPECT_EQ(c, 77);
  EXPECT_EQ(text[0], 9);
  EXPECT_EQ(block[0], 9);
}

TEST_F(LocalAgent, MissingOrMalformedStateFailsEveryOperation) {
  expect_every_operation_fails(kErrNoState);
  write_file(state_path_, "trust = 1\nthis is not a setting\n");
  expect_every_operation_fails(kErrBadState);
  EXPECT_EQ(testing::read_file(state_path_), "trust = 1\nthis is not a setting\n");
  // Each failed call is still logged.
  EXPECT_NE(calls().find("QuilMessageEx(\"1.2\", 0, 0, 0) = -2"), std::string::npos) << calls();
}

TEST_F(LocalAgent, ReadsTheSessionAsTheFileSaysAndRereadsEveryCall) {
  AgentState s;
  s.version = 0x5213;
  s.version_extra = 7;
  s.session_state = 1;
  s.backup = true;
  s.server = {192, 0, 2, 7};
  s.configured = "domarc.example";
  s.name = std::string(255, 'N');
  s.identifier = "ID-1";
  s.audit = 1;
  s.trust = 2;
  save(s);

  uint16_t version = 0, extra = 0;
  ASSERT_EQ(QuilVersion(&version, &extra), 0);
  EXPECT_EQ(version, 0x5213);
  EXPECT_EQ(extra, 7);

  long flags = 0, address = 0, state = 0;
  ASSERT_EQ(QuilGetSessionStatus(nullptr, &flags, &address, &state), 0);
  EXPECT_EQ(flags, QUIL_FLAG_BACKUP);
  EXPECT_EQ(state, 1);
  unsigned char octets[sizeof(long)];
  std::memcpy(octets, &address, sizeof octets);
  EXPECT_EQ(octets[0], 192);
  EXPECT_EQ(octets[3], 7);
  for (std::size_t i = 4; i < sizeof octets; ++i)
    EXPECT_EQ(octets[i], 0);

  unsigned char configured[QUIL_TEXT_SIZE], name[QUIL_TEXT_SIZE];
  ASSERT_EQ(QuilGetSessionEx(nullptr, 0, configured, name, nullptr, 0), 0);
  EXPECT_EQ(pascal(configured), "domarc.example");
  EXPECT_EQ(pascal(name), std::string(255, 'N'));

  long audit = 0, trust = 0;
  EXPECT_EQ(QuilAuditInfo(&audit, 0, 0), 0);
  EXPECT_EQ(audit, 1);
  EXPECT_EQ(QuilGetSessionTrust(nullptr, &trust), 0);
  EXPECT_EQ(trust, 2);

  // A change to the file shows at the next call.
  s.session_state = 0;
  s.backup = false;
  save(s);
  ASSERT_EQ(QuilGetSessionStatus(nullptr, &flags, &address, &state), 0);
  EXPECT_EQ(flags, 0);
  EXPECT_EQ(state, 0);
}

TEST_F(LocalAgent, PreferenceBlocksHoldOnlyWhatFits) {
  AgentState s;
  for (int i = 0; i < 200; ++i)
    s.ipv4_backups.push_back({10, 0, uint8_t(i), 1});
  s.ipv6_backups.push_back({0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9});
  save(s);

  unsigned char block[QUIL_PREF_SIZE + 8];
  std::memset(block, 0xEE, sizeof block);
  ASSERT_EQ(QuilGetPrefData(nullptr, QUIL_PREF_IPV4_BACKUPS, 0, QUIL_PREF_SIZE, block, 0), 0);
  EXPECT_EQ(block[0] << 8 | block[1], 200);  // the count says 200 ...
  EXPECT_EQ(block[2 + 126 * 4 + 2], 126);    // ... but only 127 entries fit
  EXPECT_EQ(block[510], 0);
  EXPECT_EQ(block[511], 0);
  EXPECT_EQ(block[512], 0xEE);  // nothing past the given size

  ASSERT_EQ(QuilGetPrefData(nullptr, QUIL_PREF_IPV6_BACKUPS, 0, 18, block, 0), 0);
  EXPECT_EQ(block[1], 1);
  EXPECT_EQ(block[2], 0xfe);
  EXPECT_EQ(block[17], 9);

  s.ipv6_count = -1;
  save(s);
  ASSERT_EQ(QuilGetPrefData(nullptr, QUIL_PREF_IPV6_BACKUPS, 0, 512, block, 0), 0);
  EXPECT_EQ(block[0], 0xFF);
  EXPECT_EQ(block[1], 0xFF);

  EXPECT_EQ(QuilGetPrefData(nullptr, 0x12345678, 0, 512, block, 0), kErrParam);
  EXPECT_EQ(QuilGetPrefData(nullptr, QUIL_PREF_IPV4_BACKUPS, 0, 1, block, 0), kErrParam);
  EXPECT_EQ(QuilGetPrefData(nullptr, QUIL_PREF_IPV4_BACKUPS, 0, 512, nullptr, 0), kErrParam);
}

TEST_F(LocalAgent, OptionsChangeOnlyWhereTheMaskAllows) {
  AgentState s;
  s.options = 0x1;
  s.mask = 0x80;
  save(s);
  EXPECT_EQ(QuilSetOptions(nullptr, 0x80, 0x80), 0);
  long options = 0, mask = 0;
  ASSERT_EQ(QuilGetOptions(nullptr, &options, &mask), 0);
  EXPECT_EQ(options, 0x81);
  EXPECT_EQ(mask, 0x80);
  // Bit 0x1 is not the user's to change: refused, and it stays.
  EXPECT_EQ(QuilSetOptions(nullptr, 0, 0x81), kErrRefused);
  ASSERT_EQ(QuilGetOptions(nullptr, &options, &mask), 0);
  EXPECT_EQ(options, 0x1);
  // Asking for what is already there is no refusal.
  EXPECT_EQ(QuilSetOptions(nullptr, 0x1, 0x1), 0);
}

TEST_F(LocalAgent, NewServerIsTakenOrRefused) {
  AgentState s;
  s.configured = "10.1.1.1";
  s.server = {10, 1, 1, 1};
  s.session_state = 1;
  s.backup = true;
  s.refuse_new_server = true;
  save(s);
  unsigned char text[] = "\x0bvantor.test";
  EXPECT_EQ(QuilSetTransport(1, text), QUIL_ERR_SERVER_BUSY);
  EXPECT_EQ(load().configured, "10.1.1.1");

  s.refuse_new_server = false;
  save(s);
  EXPECT_EQ(QuilSetTransport(2, text), kErrParam);
  EXPECT_EQ(QuilSetTransport(1, text), 0);
  EXPECT_EQ(load().configured, "vantor.test");
  EXPECT_EQ(load().session_state, 1);  // still on the old server until logon
  EXPECT_EQ(QuilAuthenticate(nullptr), 0);
  AgentState now = load();
  EXPECT_EQ(now.name, "vantor.test");
  EXPECT_EQ(now.server, (std::array<std::uint8_t, 4>{}));
  EXPECT_FALSE(now.backup);

  unsigned char numeric[] =
      "\x0a"
      "172.16.0.9";
  EXPECT_EQ(QuilSetTransport(1, numeric), 0);
  EXPECT_EQ(QuilAuthenticate(nullptr), 0);
  now = load();
  EXPECT_EQ(now.server, (std::array<std::uint8_t, 4>{172, 16, 0, 9}));
  EXPECT_EQ(now.name, "");

  EXPECT_NE(calls().find("QuilSetTransport(1, \"vantor.test\") = -10000\n"), std::string::npos);
  EXPECT_NE(calls().find("QuilAuthenticate(0) = 0\n"), std::string::npos);

  AgentState empty;
  save(empty);
  EXPECT_EQ(QuilAuthenticate(nullptr), kErrNoServer);
}

TEST_F(LocalAgent, MessagesAreLogged) {
  save(AgentState());
  unsigned char text[QUIL_TEXT_SIZE];
  std::string message = "Close the programs.[.TY-480.]";
  text[0] = static_cast<unsigned char>(message.size());
  std::memcpy(text + 1, message.data(), message.size());
  EXPECT_EQ(QuilMessageEx(text, 0, 0, 0), 0);
  text[0] = 2;
  text[1] = '\n';
  text[2] = '\xff';
  EXPECT_EQ(QuilMessageEx(text, 0, 0, 0), 0);
  EXPECT_EQ(messages(), "\"Close the programs.[.TY-480.]\"\n\"\\x0a\\xff\"\n");
  EXPECT_EQ(QuilMessageEx(nullptr, 0, 0, 0), kErrParam);
}

TEST_F(LocalAgent, FailureSwitchFailsOneOperationOnly) {
  AgentState s;
  s.trust = 3;
  s.fail[static_cast<int>(Op::GetOptions)] = -7;
  save(s);
  long options = 5, mask = 5, trust = 0;
  EXPECT_EQ(QuilGetOptions(nullptr, &options, &mask), -7);
  EXPECT_EQ(options, 5);
  EXPECT_EQ(QuilGetSessionTrust(nullptr, &trust), 0);
  EXPECT_EQ(trust, 3);
  EXPECT_NE(calls().find("QuilGetOptions(0, ptr, ptr) = -7\n"), std::string::npos) << calls();
}

TEST_F(LocalAgent, ConcurrentChangesLoseNothing) {
  AgentState s;
  s.mask = -1;
  save(s);
  constexpr int kThreads = 8, kRounds = 25;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      long bit = 1L << t;
      for (int r = 0; r < kRounds; ++r) {
        QuilSetOptions(nullptr, r % 2 ? 0 : bit, bit);
        QuilSetOptions(nullptr, bit, bit);
      }
    });
  }
  for (auto &t : threads)
    t.join();
  EXPECT_EQ(load().options, (1L << kThreads) - 1);
  std::string log = calls();
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), kThreads * kRounds * 2);
}

}  // namespace
}  // namespace tessary::agent
