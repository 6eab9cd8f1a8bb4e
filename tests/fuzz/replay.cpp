// Runs a fuzz target over the files of the folders given, as an ordinary test.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize);

int main(int argc, char** argv)
{
    static const std::uint8_t NOTHING = 0;
    LLVMFuzzerTestOneInput(&NOTHING, 0);
    int nFiles = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
            const std::vector<std::uint8_t> bytes(text.begin(), text.end());
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++nFiles;
        }
    }
    std::printf("%d inputs replayed\n", nFiles);
    return nFiles > 0 ? 0 : 1;
}
