#include "Mutation.h"

#include <algorithm>
#include <cstring>

namespace {

typedef std::vector<std::uint8_t> Bytes;

void SetNumber(Bytes& bytes, std::size_t at, std::mt19937& random) {
  const std::uint32_t numbers[] = {
      0,          1,
      4,          8,
      255,        65535,
      0x7FFFFFFF, 0x80000000,
      0xFFFFFFFF, static_cast<std::uint32_t>(random() % (bytes.size() + 1))};
  const std::uint32_t number = numbers[random() % std::size(numbers)];
  at &= ~std::size_t{3};  // where numbers are
  std::memcpy(bytes.data() + at, &number, std::min(sizeof number, bytes.size() - at));
}

void MoveBlock(Bytes& bytes, std::size_t from, std::size_t to, std::mt19937& random) {
  const std::size_t room = bytes.size() - std::max(from, to);
  std::memmove(bytes.data() + to, bytes.data() + from, random() % room + 1);
}

void RemoveBlock(Bytes& bytes, std::size_t at, std::mt19937& random) {
  const std::size_t length = std::min<std::size_t>(random() % 32 + 1, bytes.size() - at);
  const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
  bytes.erase(begin, begin + static_cast<std::ptrdiff_t>(length));
}

void Change(Bytes& bytes, std::mt19937& random) {
  const std::size_t at = random() % bytes.size();
  switch (random() % 12) {
    case 0:
    case 1:
    case 2:
      bytes[at] = static_cast<std::uint8_t>(bytes[at] ^ (1u << random() % 8));
      break;
    case 3:
    case 4:
    case 5:
      bytes[at] = static_cast<std::uint8_t>(random());
      break;
    case 6:
    case 7:
    case 8:
      SetNumber(bytes, at, random);
      break;
    case 9:
      MoveBlock(bytes, at, random() % bytes.size(), random);
      break;
    case 10:
      RemoveBlock(bytes, at, random);
      break;
    default:
      bytes.resize(bytes.size() - random() % std::min<std::size_t>(bytes.size(), 64));
  }
  if (bytes.empty()) bytes.push_back(0);
}

}  // namespace

Bytes Mutate(Bytes bytes, std::mt19937& random) {
  for (auto changes = random() % 4 + 1; changes > 0; --changes) Change(bytes, random);
  bytes.shrink_to_fit();  // so that a sanitizer sees the end
  return bytes;
}
