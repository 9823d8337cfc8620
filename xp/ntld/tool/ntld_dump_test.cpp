// ntld-dump run on files written by the library, on damaged copies of them,
// and on standard input.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "xp/ntld/xp_ntld.h"

using Bytes = std::vector<uint8_t>;

// The tool's exit status and output for the arguments.
static std::pair<int, std::string> run(const std::string &args) {
  std::string out;
  FILE *p = popen((std::string(NTLD_DUMP) + " " + args + " 2>&1").c_str(), "r");
  char buf[4096];
  for (size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0;)
    out.append(buf, n);
  int st = pclose(p);
  return {WIFEXITED(st) ? WEXITSTATUS(st) : -1, out};
}
// The same on the bytes written to a file, named after `how` ("- < " reads
// it from standard input).
static std::pair<int, std::string> run_on(const Bytes &bytes, const std::string &how = "") {
  static int files = 0;  // a name of its own: tests may run side by side
  std::string path = testing::TempDir() + "ntld_dump_test_" + std::to_string(getpid()) + "_" +
                     std::to_string(files++) + ".ntld";
  FILE *f = fopen(path.c_str(), "wb");
  fwrite(bytes.data(), 1, bytes.size(), f);
  fclose(f);
  auto r = run(how + path);
  std::remove(path.c_str());
  return r;
}

static Bytes sample() {
  Bytes buf(512);
  uint8_t raw[20];
  for (int i = 0; i < 20; ++i)
    raw[i] = uint8_t(i);
  xp_ntld *w = xp_ntld_new(buf.data(), uint32_t(buf.size()));
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));                     // @0
  xp_ntld_add_string(w, XP_TAG('n', 'a', 'm', 'e'), "say \"hi\"\n");  // @12
  xp_ntld_add_number(w, 2, -42);                                      // @36
  xp_ntld_open(w, 3, XP_TAG('l', 'i', 's', 't'));                     // @52
  xp_ntld_add_tag(w, 4, XP_TAG('a', 'b', 'c', 'd'));                  // @64
  xp_ntld_add(w, 5, XP_TAG('b', 'l', 'o', 'b'), 20, raw);             // @80
  buf.resize(xp_ntld_length(w));
  xp_release(w);
  return buf;
}

TEST(NtldDump, PrintsTheTreeIndentedFromAFileOrStandardInput) {
  auto [status, out] = run_on(sample());
  EXPECT_EQ(status, 0) << out;
  EXPECT_EQ(out,
            "@0 tag 0x00000001 type 'root' length 100\n"
            "  @12 tag 0x656d616e 'name' type 'text' length 9 = \"say \\\"hi\\\"\\n\"\n"
            "  @36 tag 0x00000002 type 'long' length 4 = -42\n"
            "  @52 tag 0x00000003 type 'list' length 48\n"
            "    @64 tag 0x00000004 type 'ctag' length 4 = 0x64636261 'abcd'\n"
            "    @80 tag 0x00000005 type 'blob' length 20 = 00 01 02 03 04 05 06 07 08 09 0a 0b 0c "
            "0d 0e 0f ...\n");
  EXPECT_EQ(run_on(sample(), "- < "), std::make_pair(0, out));
}

TEST(NtldDump, DamageIsReportedWithItsOffset) {
  const Bytes good = sample();
  Bytes cut(good.begin(), good.end() - 5), bad = good, stray = good, deep(300 * 12);
  bad[80 + 11] = 40;  // the blob in the nested list claims more than the list holds
  stray[11] = 96;     // a container whose data ends with stray bytes
  stray.resize(108);
  xp_ntld *w = xp_ntld_new(deep.data(), uint32_t(deep.size()));
  for (int i = 0; i < 300; ++i)
    xp_ntld_open(w, 1, XP_TAG('d', 'e', 'e', 'p'));
  xp_release(w);
  const std::pair<Bytes, const char *> cases[] = {
      {cut, "offset 0: item claims 100 data bytes but only 95 follow its header"},
      {bad,
       "offset 80: item of 52 bytes (padded) runs past the end of the container at offset "
       "52, which has 32 bytes left"},
      {stray, "offset 52:"},
      {deep, "offset 3072: containers nested deeper than 256 levels"},
      {{1, 2, 3}, "offset 0: 3 bytes left, too few for an item header"}};
  for (const auto &[bytes, message] : cases) {
    auto [status, out] = run_on(bytes);
    EXPECT_EQ(status, 1) << out;
    EXPECT_NE(out.find(message), std::string::npos) << out;
  }
  // What comes before the damage is printed; a level is verified before it
  // is shown.
  std::string out = run_on(bad).second;
  EXPECT_TRUE(out.find("  @52 tag") != std::string::npos && out.find("@64") == std::string::npos);
  EXPECT_EQ(run(testing::TempDir() + "no-such-file.ntld").first + run("").first, 4);
}
