// tests/getinfo/scratch_dir.h: a fresh folder for one test (removed with everything in it afterwards)
// and whole files written and read as bytes.
#pragma once

#include "support/temp_prefix.h"

#include <fstream>
#include <iterator>
#include <vector>

class ScratchDir : public vnr::test::TempPrefix {
public:
    std::filesystem::path operator/(const std::string& name) const { return root() / name; }
    static void write(const std::filesystem::path& file, const std::vector<std::uint8_t>& bytes) {
        std::ofstream(file, std::ios::binary | std::ios::trunc)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    static std::vector<std::uint8_t> read(const std::filesystem::path& file) {
        std::ifstream in(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
};
