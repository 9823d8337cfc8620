// The state file: every field survives a write and a read, hostile texts
// included; malformed files are rejected with the line at fault.
#include "pane/agent/agent_state.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

namespace tessary::agent {
namespace {

AgentState busy_state() {
  AgentState s;
  s.version = 0xF0A1;
  s.version_extra = 65535;
  s.session_state = -3;
  s.backup = true;
  s.server = {192, 0, 2, 200};
  s.configured = "say \"hi\" \\ there\n\t";
  s.name = std::string(255, 'n');
  s.identifier = std::string("\xff\xfe ok \xc3\xa9 \xe2\x82", 12) + std::string(1, '\0') + "z";
  s.audit = LONG_MIN;
  s.trust = LONG_MAX;
  s.options = -1;
  s.mask = 0x40000080;
  s.ipv4_backups = {{10, 0, 0, 1}, {255, 255, 255, 255}};
  s.ipv6_backups = {{0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, {}};
  s.ipv4_count = -32768;
  s.ipv6_count = 65535;
  s.refuse_new_server = true;
  s.fail[static_cast<int>(Op::GetOptions)] = -7;
  s.fail[static_cast<int>(Op::MessageEx)] = 32767;
  return s;
}

TEST(AgentStateFile, RoundTripsAndReadsLeniently) {
  for (const AgentState &s : {busy_state(), AgentState()}) {
    std::string text = format_state(s), error;
    auto back = parse_state(text, &error);
    ASSERT_TRUE(back) << error << "\n" << text;
    EXPECT_EQ(*back, s);
    EXPECT_EQ(format_state(*back), text);  // the form is canonical
  }
  EXPECT_EQ(quote_text(std::string("caf\xc3\xa9\"\\\x01\xe2\x82", 10)),
            "\"caf\xc3\xa9\\\"\\\\\\x01\\xe2\\x82\"");
  auto s = parse_state("# hello\n\n  trust = 2  \r\nserver = none\nipv4-backups =\n");
  ASSERT_TRUE(s);
  AgentState expected;
  expected.trust = 2;
  EXPECT_EQ(*s, expected);
}

TEST(AgentStateFile, MalformedFilesAreRejected) {
  const std::string n255(255, 'x');
  EXPECT_TRUE(parse_state("name = \"" + n255 + "\"\n"));
  struct Case {
    std::string text;
    const char *error;
  } cases[] = {
      {"trust = 1\nbogus = 2\n", "line 2: unknown key 'bogus'"},
      {"trust = 1\ntrust = 2\n", "line 2: 'trust' given twice"},
      {"just words\n", "line 1: expected key = value"},
      {"version = 5.2.16.3\n", "line 1: version"},
      {"server = 1.2.3.256\n", "line 1: server"},
      {"name = unquoted\n", "line 1: name"},
      {"name = \"half \\x4\"\n", "line 1: name"},
      {"name = \"trailing \\\"\n", "line 1: name"},
      {"name = \"x" + n255 + "\"\n", "line 1: name"},
      {"name = \"" + n255.substr(1) + "\\x41\\x42\"\n", "line 1: name"},
      {"trust = 12abc\n", "line 1: trust"},
      {"options = 0x1ffffffffffffffff\n", "line 1: options"},
      {"ipv4-backups = 10.0.0.1,, 10.0.0.2\n", "line 1: ipv4-backups"},
      {"ipv4-count = 65536\n", "line 1: ipv4-count"},
      {"fail.QuilVersion = 40000\n", "line 1: fail.QuilVersion"},
  };
  for (const Case &c : cases) {
    std::string error;
    EXPECT_FALSE(parse_state(c.text, &error)) << c.text;
    EXPECT_EQ(error.compare(0, std::strlen(c.error), c.error), 0) << c.text << " -> " << error;
  }
  AgentState s = busy_state();
  std::string error;
  EXPECT_FALSE(apply_setting(s, "ipv4-backups = 1.1.1.1, nonsense", &error));
  EXPECT_EQ(s, busy_state());
}

}  // namespace
}  // namespace tessary::agent
