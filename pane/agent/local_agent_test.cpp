// The local agent's operations, called in-process against a state file in a
// scratch directory.
#include <gtest/gtest.h>

#include <cstring>

#include "pane/agent/agent_state.h"
#include "pane/agent/agent_test_support.h"
#include "pane/agent/quil.h"

namespace tessary::agent {
namespace {

class LocalAgent : public testing::AgentDir {};

TEST_F(LocalAgent, MissingOrMalformedStateFailsEveryOperation) {
  for (QuilResult code : {kErrNoState, kErrBadState}) {
    if (code == kErrBadState) testing::write_file(state_path_, "trust = 1\nnot a setting\n");
    uint16_t version = 0xAAAA;
    long a = 77, b = 77, c = 77;
    unsigned char text[QUIL_TEXT_SIZE] = {9}, block[QUIL_PREF_SIZE] = {9};
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
    EXPECT_TRUE(version == 0xAAAA && a == 77 && b == 77 && c == 77 && text[0] == 9 &&
                block[0] == 9);  // outputs untouched
  }
  EXPECT_EQ(testing::read_file(state_path_), "trust = 1\nnot a setting\n");
  EXPECT_NE(calls().find("QuilMessageEx(\"1.2\", 0, 0, 0) = -2"), std::string::npos) << calls();
}

// The count is the number of entries in the block, which holds what fits the
// caller's size: 127 IPv4 or 31 IPv6 addresses in 512 bytes.
TEST_F(LocalAgent, PreferenceBlockCountIsItsEntries) {
  struct Case {
    uint32_t tag;
    std::size_t entry, have, held;
  } cases[] = {{QUIL_PREF_IPV4_BACKUPS, 4, 3, 3},     {QUIL_PREF_IPV4_BACKUPS, 4, 127, 127},
               {QUIL_PREF_IPV4_BACKUPS, 4, 128, 127}, {QUIL_PREF_IPV4_BACKUPS, 4, 140, 127},
               {QUIL_PREF_IPV6_BACKUPS, 16, 31, 31},  {QUIL_PREF_IPV6_BACKUPS, 16, 32, 31},
               {QUIL_PREF_IPV6_BACKUPS, 16, 40, 31}};
  for (const Case &c : cases) {
    AgentState s;  // entry i (from 1) ends in the byte i
    for (std::size_t i = 1; i <= c.have; ++i) {
      s.ipv4_backups.push_back({10, 0, 0, uint8_t(i)});
      s.ipv6_backups.push_back({0x20, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, uint8_t(i)});
    }
    save(s);
    unsigned char block[QUIL_PREF_SIZE + 8];
    std::memset(block, 0xEE, sizeof block);
    ASSERT_EQ(QuilGetPrefData(nullptr, c.tag, 0, QUIL_PREF_SIZE, block, 0), 0);
    std::size_t entries = 0;
    while (2 + (entries + 1) * c.entry <= QUIL_PREF_SIZE &&
           block[1 + (entries + 1) * c.entry] == entries + 1)
      ++entries;
    EXPECT_EQ(std::size_t(block[0] << 8 | block[1]), c.held) << c.have;
    EXPECT_EQ(entries, c.held) << c.have;
    EXPECT_EQ(block[QUIL_PREF_SIZE], 0xEE);  // nothing past the given size
  }
  AgentState s;
  s.ipv6_count = -1;  // a count forced in the state is written as it is
  save(s);
  unsigned char block[QUIL_PREF_SIZE];
  ASSERT_EQ(QuilGetPrefData(nullptr, QUIL_PREF_IPV6_BACKUPS, 0, 512, block, 0), 0);
  EXPECT_EQ(block[0] << 8 | block[1], 0xFFFF);
  EXPECT_EQ(QuilGetPrefData(nullptr, 0x12345678, 0, 512, block, 0), kErrParam);
  EXPECT_EQ(QuilGetPrefData(nullptr, QUIL_PREF_IPV4_BACKUPS, 0, 1, block, 0), kErrParam);
  EXPECT_EQ(QuilGetPrefData(nullptr, QUIL_PREF_IPV4_BACKUPS, 0, 512, nullptr, 0), kErrParam);
}

// A failure switch fails its operation alone, leaving its outputs.
TEST_F(LocalAgent, OptionsChangeOnlyWhereTheMaskAllows) {
  AgentState s;
  s.options = 0x1;
  s.mask = 0x80;
  s.fail[static_cast<int>(Op::GetOptions)] = -7;
  save(s);
  long options = 5, mask = 5;
  EXPECT_EQ(QuilGetOptions(nullptr, &options, &mask), -7);
  EXPECT_EQ(options * 10 + mask, 55);
  EXPECT_NE(calls().find("QuilGetOptions(0, ptr, ptr) = -7\n"), std::string::npos) << calls();
  EXPECT_EQ(QuilSetOptions(nullptr, 0x80, 0x80), 0);
  EXPECT_EQ(load().options, 0x81);
  EXPECT_EQ(QuilSetOptions(nullptr, 0, 0x81), kErrRefused);  // 0x1 is not the user's
  EXPECT_EQ(load().options, 0x1);                            // refused, and it stays
  EXPECT_EQ(QuilSetOptions(nullptr, 0x1, 0x1), 0);           // asking for what is there is fine
}

// Taking or refusing a new server is exercised through the pane; here the
// argument checks and what logon does with no server at all.
TEST_F(LocalAgent, TransportLogonAndMessageArguments) {
  save(AgentState());
  unsigned char text[] = "\x0bvantor.test";
  EXPECT_EQ(QuilAuthenticate(nullptr), kErrNoServer);
  EXPECT_EQ(QuilSetTransport(2, text), kErrParam);
  EXPECT_EQ(QuilSetTransport(1, reinterpret_cast<const unsigned char *>("")), kErrParam);
  EXPECT_EQ(QuilSetTransport(1, text), 0);
  EXPECT_EQ(QuilAuthenticate(nullptr), 0);
  EXPECT_EQ(load().name, "vantor.test");
  unsigned char message[] =
      "\x1f"
      "Close the programs.[.TY-480.]\n\xff";
  EXPECT_EQ(QuilMessageEx(message, 0, 0, 0), 0);
  EXPECT_EQ(messages(), "\"Close the programs.[.TY-480.]\\x0a\\xff\"\n");
  EXPECT_EQ(QuilMessageEx(nullptr, 0, 0, 0), kErrParam);
}

}  // namespace
}  // namespace tessary::agent
