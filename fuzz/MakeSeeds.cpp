// Writes the seeds of a fuzz target into a directory: make_fuzz_seeds stf2|sealed DIRECTORY

#include <cstring>
#include <fstream>
#include <iostream>

#include "Seeds.h"

int main(int argc, char** argv) {
  if (argc != 3 || (std::strcmp(argv[1], "stf2") != 0 && std::strcmp(argv[1], "sealed") != 0)) {
    std::cerr << "usage: make_fuzz_seeds stf2|sealed DIRECTORY\n";
    return 2;
  }
  const auto seeds = std::strcmp(argv[1], "stf2") == 0 ? InkSeeds() : SealedSeeds();
  for (const auto& [name, bytes] : seeds) {
    const std::string path = std::string(argv[2]) + "/" + name;
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
      std::cerr << "cannot write " << path << '\n';
      return 1;
    }
  }
}
