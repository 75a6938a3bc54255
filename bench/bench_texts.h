// URL-like texts for the list benchmarks, drawn with a Zipf-like law.
//
// Text k (0-based) is drawn with a probability close to 1/(k+1) (the
// inverse of a log-uniform draw), and its spelling comes from a scrambled k
// so that popular texts are spread over the whole text order.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>

namespace bench_texts {

class Source {
 public:
  explicit Source(long distinct, uint64_t seed = 0x9e3779b97f4a7c15ull)
      : logRange_(std::log(static_cast<double>(distinct) + 1)), state_(seed) {}

  // Writes the next text into out; returns its length.
  int Next(char* out, size_t size) {
    double u = static_cast<double>(NextRandom() >> 11) * 0x1.0p-53;
    uint64_t k = static_cast<uint64_t>(std::exp(u * logRange_)) - 1;
    return Spell(k, out, size);
  }

  // The spelling of text k: a path of one to three folders and a page.
  static int Spell(uint64_t k, char* out, size_t size) {
    static const char* const kFolders[] = {"images", "docs", "products", "blog", "archive",
                                           "support", "downloads", "news", "cgi-bin", "static"};
    static const char* const kTypes[] = {"html", "gif", "jpg", "htm", "css", "js", "pdf", "asp"};
    uint64_t h = Scramble(k);
    int depth = 1 + static_cast<int>(h % 3);
    int n = 0;
    for (int d = 0; d < depth; ++d)
      n += snprintf(out + n, size - n, "/%s", kFolders[(h >> (8 + 4 * d)) % 10]);
    n += snprintf(out + n, size - n, "/page%llu.%s", static_cast<unsigned long long>(k),
                  kTypes[(h >> 24) % 8]);
    return n;
  }

 private:
  static uint64_t Scramble(uint64_t x) {
    x ^= x >> 30;
    x *= 0xbf58476d1ce4e5b9ull;
    x ^= x >> 27;
    x *= 0x94d049bb133111ebull;
    return x ^ (x >> 31);
  }
  uint64_t NextRandom() {  // xorshift64*
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return state_ * 0x2545f4914f6cdd1dull;
  }

  double logRange_;
  uint64_t state_;
};

}  // namespace bench_texts
