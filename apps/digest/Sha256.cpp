#include "digest/Sha256.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace {

constexpr std::size_t kSumBytes = 32;

void Check(bool has_worked) {
  if (!has_worked) throw std::runtime_error("the system computes no SHA-256");
}

// Looking the algorithm up takes longer than to sum a short text.
const EVP_MD* Algorithm() {
  static const EVP_MD* const algorithm = ::EVP_MD_fetch(nullptr, "SHA256", nullptr);
  return algorithm;
}

}  // namespace

void Sha256::Deleter::operator()(evp_md_ctx_st* context) const {
  ::EVP_MD_CTX_free(context);
}

Sha256::Sha256() : context_(::EVP_MD_CTX_new()) {
  Check(context_ != nullptr && Algorithm() != nullptr &&
        ::EVP_DigestInit_ex(context_.get(), Algorithm(), nullptr) == 1);
}

Sha256::~Sha256() = default;

void Sha256::Add(std::string_view bytes) {
  Check(::EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) == 1);
}

std::string Sha256::Sum() {
  std::string sum(kSumBytes, '\0');
  Check(::EVP_DigestFinal_ex(context_.get(), reinterpret_cast<unsigned char*>(&sum[0]), nullptr) ==
        1);
  return sum;
}

std::string Sha256Of(std::string_view bytes) {
  Sha256 sum;
  sum.Add(bytes);
  return sum.Sum();
}
