// Memory that runs out while XML is read.

#pragma once

#include <cstdlib>
#include <pugixml.hpp>

// As long as it lives, trees of XML get so many pieces of memory and no more.
class FailingXmlMemory {
 public:
  explicit FailingXmlMemory(int pieces) {
    left_ = pieces;
    pugi::set_memory_management_functions(Allocate, std::free);
  }
  ~FailingXmlMemory() { pugi::set_memory_management_functions(allocate_, release_); }
  FailingXmlMemory(const FailingXmlMemory&) = delete;
  FailingXmlMemory& operator=(const FailingXmlMemory&) = delete;

 private:
  static void* Allocate(std::size_t size) { return left_-- > 0 ? std::malloc(size) : nullptr; }

  static inline int left_ = 0;
  const pugi::allocation_function allocate_ = pugi::get_memory_allocation_function();
  const pugi::deallocation_function release_ = pugi::get_memory_deallocation_function();
};
