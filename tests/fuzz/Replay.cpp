// Gives a target the files named, as a fuzzer would.

#include <fstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);

int main(int count, char** paths)
{
    for (int i = 1; i < count; ++i) {
        std::ifstream file(paths[i], std::ios::binary);
        if (!file)
            return 1;
        const std::string input{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char*>(input.data()), input.size());
    }
    return count > 1 ? 0 : 1;
}
