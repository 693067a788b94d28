#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Tries each file of the given folders once. Unlike the fuzzer, it needs no special compiler.
int main(int argc, char* argv[]) {
    int tried = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::printf("%s\n", entry.path().c_str());
            std::fflush(stdout);
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string input(std::istreambuf_iterator<char>(file), {});
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
            ++tried;
        }
    }
    return tried > 0 ? 0 : 1;
}
