// SHA-256 of byte blocks.
//
// The name under which an output is stored. A node is not trusted, so nobody
// may be able to make two outputs with one name; and anybody can check a name
// with sha256sum(1).

#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string_view>

typedef struct evp_md_ctx_st EVP_MD_CTX;  // openssl/evp.h, which only
typedef struct evp_md_st EVP_MD;          // sha256.cpp includes

namespace zelk::accumulate {

using digest = std::array<unsigned char, 32>;

inline std::string_view bytes_of(const digest& value) {
  return {reinterpret_cast<const char*>(value.data()), value.size()};
}

// The first 8 bytes, as a number.
std::int64_t prefix_of(const digest& value);

// One thread only; throws std::runtime_error when the library has no SHA-256.
class sha256 {
 public:
  sha256();
  ~sha256();
  sha256(const sha256&) = delete;
  sha256& operator=(const sha256&) = delete;

  // The digest of the blocks, one behind the other.
  digest operator()(std::initializer_list<std::string_view> blocks);

 private:
  EVP_MD* algorithm_;
  EVP_MD_CTX* context_;
};

}  // namespace zelk::accumulate
