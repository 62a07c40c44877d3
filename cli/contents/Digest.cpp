#include "contents/Digest.h"

#include <openssl/evp.h>

#include <cstdint>

#include "ExitStatus.h"

namespace HOQ::cli {
namespace {

constexpr std::size_t kBytes = 32;

void require(bool good) {
  if (!good) throw CommandError(kExitFailed, "cannot compute SHA-256");
}

}  // namespace

struct Digest::State {
  State() : context(EVP_MD_CTX_new()) { require(context != nullptr); }
  State(const State& other) : State() { require(EVP_MD_CTX_copy_ex(context, other.context) == 1); }
  State& operator=(const State&) = delete;
  ~State() { EVP_MD_CTX_free(context); }

  EVP_MD_CTX* const context;
};

Digest::Digest() : state_(std::make_unique<State>()) {
  require(EVP_DigestInit_ex(state_->context, EVP_sha256(), nullptr) == 1);
}

Digest::Digest(const Digest& other) : state_(std::make_unique<State>(*other.state_)) {}

Digest::~Digest() = default;

void Digest::add(const char* bytes, std::size_t count) {
  require(EVP_DigestUpdate(state_->context, bytes, count) == 1);
}

std::string Digest::value() const {
  const State end(*state_);  // finishing a context ends it
  unsigned char bytes[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  require(EVP_DigestFinal_ex(end.context, bytes, &length) == 1 && length == kBytes);
  return std::string(bytes, bytes + length);
}

std::string Digest::hex(std::size_t digits) const {
  std::string text;
  for (const char byte : value())
    for (const int shift : {4, 0})
      text += "0123456789abcdef"[(static_cast<std::uint8_t>(byte) >> shift) & 0xF];
  return text.substr(0, digits);
}

}  // namespace HOQ::cli
