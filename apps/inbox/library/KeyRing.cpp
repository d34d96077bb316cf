#include "library/KeyRing.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace Inbox {

std::shared_ptr<const TalvoInk::KeyPair> KeyRing::Find(const std::string& file,
                                                       std::string& reason) {
  reason.clear();
  if (file.empty()) {
    reason = "sealed; 'quillpost-inbox --key FILE' names the key that opens it";
    return nullptr;
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  struct stat status {};
  if (::stat(file.c_str(), &status) != 0) {
    key_.reset();
    reason = "the key file " + file + ": " + std::generic_category().message(errno);
    return nullptr;
  }
  const bool is_same = key_ != nullptr && file == file_ && status.st_ino == status_.st_ino &&
                       status.st_size == status_.st_size &&
                       status.st_mtim.tv_sec == status_.st_mtim.tv_sec &&
                       status.st_mtim.tv_nsec == status_.st_mtim.tv_nsec;
  if (is_same) return key_;
  key_.reset();
  try {
    auto key = std::make_shared<TalvoInk::KeyPair>();
    ReadKeyFile(file, *key);
    key_ = std::move(key);
    file_ = file;
    status_ = status;
  } catch (const std::runtime_error& error) {
    reason = error.what();
  }
  return key_;
}

}  // namespace Inbox
