// The main of a target in an ordinary build: gives it every file that it is told of, and every
// file of a folder. A corpus in which there is none proves nothing: that is a failure.
#include "fuzz/support/target.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using Paths = std::vector<std::filesystem::path>;

Paths ListInputs(int argc, char** argv)
{
    Paths inputs;
    for (int i = 1; i < argc; i++) {
        if (!std::filesystem::is_directory(argv[i])) {
            inputs.emplace_back(argv[i]);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
            inputs.push_back(entry.path());
    }
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

bool Replay(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.good() || bytes.empty()) {
        fprintf(stderr, "%s cannot be read, or is empty\n", path.c_str());
        return false;
    }
    fprintf(stderr, "%s\n", path.c_str());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    LLVMFuzzerInitialize(&argc, &argv);
    Paths inputs = ListInputs(argc, argv);
    auto failed =
        std::count_if(inputs.begin(), inputs.end(), [](const auto& path) { return !Replay(path); });
    fprintf(stderr, "%zu inputs\n", inputs.size());
    return failed == 0 && !inputs.empty() ? 0 : 1;
}
