// ntld-dump run on files written by the library, on damaged copies of them,
// and on standard input.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "xp/ntld/xp_ntld_internal.h"

namespace {

struct Outcome {
  int status;
  std::string out;
};

Outcome run(const std::string &args) {
  std::string cmd = std::string(NTLD_DUMP) + " " + args + " 2>&1";
  FILE *p = popen(cmd.c_str(), "r");
  Outcome r{-1, {}};
  if (!p) return r;
  char buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, p)) > 0)
    r.out.append(buf, n);
  int st = pclose(p);
  r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  return r;
}

// Runs the tool on the bytes written to a file, then removes the file; how
// is put before the path ("- < " reads it from standard input).
Outcome run_on(const std::vector<uint8_t> &bytes, const char *name, const char *how = "") {
  std::string path = testing::TempDir() + "ntld_dump_test_" + name;
  FILE *f = fopen(path.c_str(), "wb");
  fwrite(bytes.data(), 1, bytes.size(), f);
  fclose(f);
  Outcome r = run(how + path);
  std::remove(path.c_str());
  return r;
}

std::vector<uint8_t> sample() {
  std::vector<uint8_t> buf(512);
  xp_ntld *w = xp_ntld_new(buf.data(), uint32_t(buf.size()));
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));                     // @0
  xp_ntld_add_string(w, XP_TAG('n', 'a', 'm', 'e'), "say \"hi\"\n");  // @12
  xp_ntld_add_number(w, 2, -42);                                      // @36
  xp_ntld_open(w, 3, XP_TAG('l', 'i', 's', 't'));                     // @52
  xp_ntld_add_tag(w, 4, XP_TAG('a', 'b', 'c', 'd'));                  // @64
  uint8_t raw[20];
  for (int i = 0; i < 20; ++i)
    raw[i] = uint8_t(i);
  xp_ntld_add(w, 5, XP_TAG('b', 'l', 'o', 'b'), 20, raw);  // @80
  buf.resize(xp_ntld_length(w));
  xp_release(w);
  return buf;
}

TEST(NtldDump, PrintsTheTreeIndented) {
  Outcome r = run_on(sample(), "sample");
  EXPECT_EQ(r.status, 0) << r.out;
  for (const char *line :
       {"@0 tag 0x00000001 type 'root' length 100\n",
        "  @12 tag 0x656d616e 'name' type 'text' length 9 = \"say \\\"hi\\\"\\n\"",
        "  @36 tag 0x00000002 type 'long' length 4 = -42",
        "  @52 tag 0x00000003 type 'list' length 48\n",
        "    @64 tag 0x00000004 type 'ctag' length 4 = 0x64636261 'abcd'",
        "    @80 tag 0x00000005 type 'blob' length 20 = 00 01 02 03 04 05 06 07 08 09 0a 0b 0c "
        "0d 0e 0f ..."})
    EXPECT_NE(r.out.find(line), std::string::npos) << line << "\n" << r.out;
  Outcome s = run_on(sample(), "stdin", "- < ");
  EXPECT_EQ(s.status, 0);
  EXPECT_EQ(s.out, r.out);
}

TEST(NtldDump, DamageIsReportedWithItsOffset) {
  const std::vector<uint8_t> good = sample();
  std::vector<uint8_t> cut(good.begin(), good.end() - 5), bad = good, stray = good, deep(300 * 12);
  xpn::store_be(&bad[80 + 8], 40);  // the blob in the nested list claims more than the list holds
  xpn::store_be(&stray[8], 96);     // a container whose data ends with stray bytes
  stray.resize(108);
  xp_ntld *w = xp_ntld_new(deep.data(), uint32_t(deep.size()));
  for (int i = 0; i < 300; ++i)
    xp_ntld_open(w, 1, XP_TAG('d', 'e', 'e', 'p'));
  xp_ntld_length(w);
  xp_release(w);
  const struct {
    std::vector<uint8_t> bytes;
    const char *name, *message;
  } cases[] = {
      {cut, "cut", "offset 0: item claims 100 data bytes but only 95 follow its header"},
      {bad, "bad",
       "offset 80: item of 52 bytes (padded) runs past the end of the container at offset 52, "
       "which has 32 bytes left"},
      {stray, "stray", "offset 52:"},
      {deep, "deep", "offset 3072: containers nested deeper than 256 levels"},
      {{1, 2, 3}, "tiny", "offset 0: 3 bytes left, too few for an item header"},
  };
  for (const auto &c : cases) {
    Outcome r = run_on(c.bytes, c.name);
    EXPECT_EQ(r.status, 1) << c.name;
    EXPECT_NE(r.out.find(c.message), std::string::npos) << r.out;
    if (c.bytes.size() == good.size() && c.bytes != good) {  // the damaged blob
      EXPECT_NE(r.out.find("  @52 tag"), std::string::npos) << "what comes before is printed";
      EXPECT_EQ(r.out.find("@64"), std::string::npos) << "a level is verified before it is shown";
    }
  }
  EXPECT_EQ(run(testing::TempDir() + "no-such-file.ntld").status, 2);
  EXPECT_EQ(run("").status, 2);
}

}  // namespace
