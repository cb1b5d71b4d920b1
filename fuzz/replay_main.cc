// Runs a fuzz target without libFuzzer: over every sample of the folders given, and over mutations of each that are the
// same in every run. So a build with any compiler keeps what the fuzzers have found.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

constexpr int kMutations = 2'000;
// A slow machine stops here instead of at the test's own limit.
constexpr std::chrono::seconds kLimit{20};

std::vector<std::string> ReadSamples(int count, char** folders) {
  std::vector<std::filesystem::path> paths;
  for (int i = 0; i < count; ++i) {
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(folders[i], none)) {
      if (entry.is_regular_file()) paths.push_back(entry.path());
    }
  }
  std::sort(paths.begin(), paths.end());  // The order of a folder differs from machine to machine.
  std::vector<std::string> samples;
  for (const auto& path : paths) {
    std::ifstream in(path, std::ios::binary);
    samples.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  return samples;
}

// Changes the text in one place; `other` lends a piece now and then.
void MutateOnce(std::string& text, const std::string& other, std::mt19937& random) {
  const auto below = [&](size_t n) { return n == 0 ? size_t{0} : random() % n; };
  const size_t at = below(text.size() + 1);
  const size_t length = 1 + below(16);
  switch (random() % 6) {
    case 0:
      if (at < text.size()) text[at] = static_cast<char>(text[at] ^ (1 << below(8)));
      break;
    case 1:
      text.erase(at, length);
      break;
    case 2:
      text.resize(at);
      break;
    case 3:
      text.insert(at, text.substr(at, length));
      break;
    case 4:
      text.insert(at, 1, static_cast<char>(below(256)));
      break;
    default:
      text.insert(at, other.substr(below(other.size() + 1), length * 4));
      break;
  }
}

void Run(const std::string& text) {
  // A copy of just this size lets the sanitizer see a read one byte past the end.
  const std::vector<uint8_t> bytes(text.begin(), text.end());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> samples = ReadSamples(argc - 1, argv + 1);
  if (samples.empty()) {
    std::fprintf(stderr, "no samples found\n");
    return 1;
  }
  const auto end = std::chrono::steady_clock::now() + kLimit;
  std::mt19937 random(20'021'010);
  long runs = 0;
  for (const std::string& sample : samples) {
    Run(sample);
    ++runs;
  }
  for (int i = 0; i < kMutations && std::chrono::steady_clock::now() < end; ++i) {
    for (const std::string& sample : samples) {
      std::string text = sample;
      for (size_t n = 1 + random() % 4; n > 0; --n) MutateOnce(text, samples[random() % samples.size()], random);
      Run(text);
      ++runs;
    }
  }
  std::printf("%ld inputs from %zu samples\n", runs, samples.size());
  return 0;
}
