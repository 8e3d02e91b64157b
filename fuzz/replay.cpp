// Runs a fuzz target without a fuzzer: texts made of pieces of its seeds, the same ones each time.
// `replay SEEDS ROUNDS`; the text that failed is shown.
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size);

namespace {

std::string text;

void show_text(int) {
  if (write(STDERR_FILENO, text.data(), text.size()) >= 0) _exit(1);
}

}  // namespace

int main(int, char** argv) {
  std::vector<std::string> seeds;
  const std::filesystem::directory_iterator folder(argv[1]);
  for (const auto& path : std::set<std::filesystem::path>(begin(folder), end(folder))) {
    std::ifstream file(path);
    seeds.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  std::signal(SIGABRT, show_text);
  if (std::freopen("/dev/null", "w", stdout) == nullptr) return 1;
  std::mt19937 random(1);
  for (int round = 0; round < std::stoi(argv[2]); ++round) {
    text.clear();
    for (auto pieces = random() % 12; pieces > 0; --pieces) {
      const std::string& seed = seeds[random() % seeds.size()];
      text.append(seed, random() % seed.size(), 1 + random() % 24);
      if (random() % 4 == 0) text += static_cast<char>(random());
    }
    LLVMFuzzerTestOneInput(text.data(), text.size());
  }
}
