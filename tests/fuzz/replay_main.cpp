// Runs a fuzz target without libFuzzer: over the files (or directories of files) named on the command
// line, such as a corpus the fuzzer left, or, with `--random COUNT`, over COUNT inputs drawn from a fixed
// seed. This is how the targets run in builds without clang, and under memcheck.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

long replayFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  return 1;
}

long replay(const std::filesystem::path& path) {
  if (!std::filesystem::is_directory(path)) return replayFile(path);
  long count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(path))
    if (entry.is_regular_file()) count += replayFile(entry.path());
  return count;
}

long random(long count) {
  std::mt19937 generator(20261123);
  std::vector<uint8_t> bytes;
  for (long i = 0; i < count; ++i) {
    bytes.resize(generator() % 2048);
    for (uint8_t& b : bytes) b = static_cast<uint8_t>(generator());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  return count;
}

}  // namespace

int main(int argc, char** argv) {
  long runs = 0;
  if (argc == 3 && std::strcmp(argv[1], "--random") == 0) {
    runs = random(std::atol(argv[2]));
  } else {
    for (int i = 1; i < argc; ++i) runs += replay(argv[i]);
  }
  std::printf("%s: %ld inputs, no broken promise\n", argv[0], runs);
  return 0;
}
