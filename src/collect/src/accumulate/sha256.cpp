#include "src/collect/src/accumulate/sha256.h"

#include <openssl/evp.h>

#include <cstring>
#include <stdexcept>

namespace zelk::accumulate {

namespace {

void demand(bool good) {
  if (!good) throw std::runtime_error("libcrypto offers no SHA-256");
}

}  // namespace

std::int64_t prefix_of(const digest& value) {
  std::int64_t prefix = 0;
  std::memcpy(&prefix, value.data(), sizeof prefix);
  return prefix;
}

// The algorithm is fetched once: looking it up takes as long as hashing 1 KiB.
sha256::sha256()
    : algorithm_(::EVP_MD_fetch(nullptr, "SHA256", nullptr)),
      context_(::EVP_MD_CTX_new()) {
  if (algorithm_ && context_) return;
  ::EVP_MD_CTX_free(context_);
  ::EVP_MD_free(algorithm_);
  demand(false);
}

sha256::~sha256() {
  ::EVP_MD_CTX_free(context_);
  ::EVP_MD_free(algorithm_);
}

digest sha256::operator()(std::initializer_list<std::string_view> blocks) {
  digest result = {};
  demand(::EVP_DigestInit_ex2(context_, algorithm_, nullptr) == 1);
  for (const std::string_view block : blocks)
    demand(::EVP_DigestUpdate(context_, block.data(), block.size()) == 1);
  demand(::EVP_DigestFinal_ex(context_, result.data(), nullptr) == 1);
  return result;
}

}  // namespace zelk::accumulate
