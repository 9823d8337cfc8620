// Strings: UTF-16 to UTF-8 conversion (xp_str_wmake) against ICU's
// u_strToUTF8 and the C library's iconv on 1 MiB of BMP text, and pattern
// search (xp_str_txtfind) against memmem and strcasestr on 1 MiB of text.
//
// Each benchmark times the library and its peer in the same iterations, on
// this thread's processor clock;
// the reported time is the library's, the counter "peer_ratio" is the
// peer's time divided by the library's (above 1: the library is faster).
#include <benchmark/benchmark.h>
#include <iconv.h>
#include <unicode/ustring.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/side_by_side.h"
#include "xp/str/xp_str.h"

namespace {

template <class Ours, class Peer>
void side_by_side(benchmark::State &state, size_t bytes, Ours ours, Peer peer) {
  double t_ours = 0, t_peer = 0;
  for (auto _ : state) {
    double a = bench::thread_ns();
    ours();
    double b = bench::thread_ns();
    peer();
    double c = bench::thread_ns();
    double ours_s = (b - a) * 1e-9;
    t_ours += ours_s;
    t_peer += (c - b) * 1e-9;
    state.SetIterationTime(ours_s);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
  state.counters["peer_ratio"] = t_ours > 0 ? t_peer / t_ours : 0;
}

[[noreturn]] void fail(const char *what) {
  std::fprintf(stderr, "benchmark setup: %s\n", what);
  std::abort();
}

// 1 MiB of UTF-16 (host order, no surrogates). ASCII-heavy: words of Latin
// letters with an accented letter or a symbol now and then; CJK-heavy:
// ideographs with ASCII punctuation and spaces.
std::vector<uint16_t> bmp_text(bool cjk) {
  std::mt19937 rng(2024);
  std::vector<uint16_t> v;
  const size_t units = (1u << 20) / 2;
  v.reserve(units);
  while (v.size() < units) {
    unsigned r = rng() % 100;
    if (cjk) {
      if (r < 85)
        v.push_back(static_cast<uint16_t>(0x4E00 + rng() % 0x5000));
      else if (r < 92)
        v.push_back(static_cast<uint16_t>(0x3040 + rng() % 0x60));  // kana
      else if (r < 97)
        v.push_back(' ');
      else
        v.push_back(static_cast<uint16_t>(",.0123456789"[rng() % 12]));
    } else {
      if (r < 82)
        v.push_back(static_cast<uint16_t>('a' + rng() % 26));
      else if (r < 95)
        v.push_back(' ');
      else if (r < 98)
        v.push_back(static_cast<uint16_t>(0xE0 + rng() % 0x20));  // accented letters
      else
        v.push_back(static_cast<uint16_t>(0x2010 + rng() % 0x20));  // dashes, quotes
    }
  }
  return v;
}

// Checks that xp_str_wmake of the marked units gives the peer's output,
// then times both over the same text (its bytes without the mark).
template <class Peer>
void wmake_vs_peer(benchmark::State &state, const std::vector<uint16_t> &marked,
                   const char *peer_out, intptr_t peer_len, Peer peer) {
  xp_str *check = xp_str_wmake(marked.data(), static_cast<intptr_t>(marked.size()));
  if (xp_str_length(check) != peer_len ||
      std::memcmp(xp_str_getptr(check), peer_out, static_cast<size_t>(peer_len)) != 0)
    fail("outputs differ");
  xp_str_release(check);
  side_by_side(
      state, (marked.size() - 1) * 2,
      [&] {
        xp_str *s = xp_str_wmake(marked.data(), static_cast<intptr_t>(marked.size()));
        benchmark::DoNotOptimize(s);
        xp_str_release(s);
      },
      [&] { benchmark::DoNotOptimize(peer()); });
}

void wmake_vs_icu(benchmark::State &state, bool cjk) {
  std::vector<uint16_t> text = bmp_text(cjk);
  // The library reads unmarked text as big-endian; a host-order mark in
  // front makes it read the same units that ICU reads.
  std::vector<uint16_t> marked(1, 0xFEFF);
  marked.insert(marked.end(), text.begin(), text.end());
  std::vector<char> out(text.size() * 3 + 1);
  auto icu = [&] {
    UErrorCode err = U_ZERO_ERROR;
    int32_t len = 0;
    u_strToUTF8(out.data(), static_cast<int32_t>(out.size()), &len,
                reinterpret_cast<const UChar *>(text.data()), static_cast<int32_t>(text.size()),
                &err);
    if (U_FAILURE(err)) fail("u_strToUTF8");
    return len;
  };
  intptr_t len = icu();
  wmake_vs_peer(state, marked, out.data(), len, icu);
}

void wmake_vs_iconv(benchmark::State &state, bool cjk) {
  std::vector<uint16_t> text = bmp_text(cjk);
  std::vector<uint16_t> marked(1, 0xFEFF);
  marked.insert(marked.end(), text.begin(), text.end());
  std::vector<char> out(text.size() * 3 + 1);
  iconv_t cd =
      iconv_open("UTF-8", __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? "UTF-16LE" : "UTF-16BE");
  if (cd == reinterpret_cast<iconv_t>(-1)) fail("iconv_open");
  auto conv = [&] {
    char *in = reinterpret_cast<char *>(text.data());
    size_t inleft = text.size() * 2;
    char *o = out.data();
    size_t oleft = out.size();
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    if (iconv(cd, &in, &inleft, &o, &oleft) == static_cast<size_t>(-1)) fail("iconv");
    return static_cast<intptr_t>(o - out.data());
  };
  intptr_t len = conv();
  wmake_vs_peer(state, marked, out.data(), len, conv);
  iconv_close(cd);
}

void BM_WmakeAsciiVsIcu(benchmark::State &s) {
  wmake_vs_icu(s, false);
}
void BM_WmakeCjkVsIcu(benchmark::State &s) {
  wmake_vs_icu(s, true);
}
void BM_WmakeAsciiVsIconv(benchmark::State &s) {
  wmake_vs_iconv(s, false);
}
void BM_WmakeCjkVsIconv(benchmark::State &s) {
  wmake_vs_iconv(s, true);
}
BENCHMARK(BM_WmakeAsciiVsIcu)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WmakeCjkVsIcu)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WmakeAsciiVsIconv)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WmakeCjkVsIconv)->UseManualTime()->Unit(benchmark::kMicrosecond);

// 1 MiB of lower-case words and spaces; the pattern occurs once, near the
// end, and its pieces occur everywhere.
std::string word_text() {
  static const char *words[] = {"the", "of",    "and",   "quint", "essence", "tial",
                                "a",   "state", "range", "value", "quiet",   "ential"};
  std::mt19937 rng(7);
  std::string t;
  while (t.size() < (1u << 20) - 64) {
    t += words[rng() % 12];
    t += ' ';
  }
  t += "quintessential ";
  t.resize(1u << 20, ' ');
  return t;
}

void BM_TxtfindVsMemmem(benchmark::State &state) {
  std::string text = word_text();
  const char *pat = "quintessential";
  auto peer = [&] {
    auto *p = static_cast<const char *>(memmem(text.data(), text.size(), pat, std::strlen(pat)));
    return p ? p - text.data() : -1;
  };
  if (xp_str_txtfind(text.data(), static_cast<intptr_t>(text.size()), pat, 1, 0) != peer())
    fail("results differ");
  side_by_side(
      state, text.size(),
      [&] {
        benchmark::DoNotOptimize(
            xp_str_txtfind(text.data(), static_cast<intptr_t>(text.size()), pat, 1, 0));
      },
      [&] { benchmark::DoNotOptimize(peer()); });
}
BENCHMARK(BM_TxtfindVsMemmem)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_StristrVsStrcasestr(benchmark::State &state) {
  std::string text = word_text();
  const char *pat = "QuintEssential";
  if (xp_str_stristr(text.c_str(), pat) != strcasestr(text.c_str(), pat)) fail("results differ");
  side_by_side(
      state, text.size(), [&] { benchmark::DoNotOptimize(xp_str_stristr(text.c_str(), pat)); },
      [&] { benchmark::DoNotOptimize(strcasestr(text.c_str(), pat)); });
}
BENCHMARK(BM_StristrVsStrcasestr)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
