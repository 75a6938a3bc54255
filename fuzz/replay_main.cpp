// Replays kept fuzz inputs without libFuzzer: every file of the folders named
// on the command line, then an empty input, goes through the target once.
#include <cstdio>
#include <filesystem>
#include <fstream>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size);

int main(int argc, char** argv) {
  int replayed = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& file : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream in(file.path(), std::ios::binary);
      const std::string input{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
      ++replayed;
      LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char*>(input.data()), input.size());
    }
  }
  LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char*>(""), 0);
  printf("%d inputs replayed\n", replayed);
  return replayed > 0 ? 0 : 1;
}
