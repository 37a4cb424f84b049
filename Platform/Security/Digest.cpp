#include "Platform/Security/Digest.h"

#include <openssl/evp.h>

#include <utility>

namespace orv::detail {
namespace {

// Looking an algorithm up costs more than a small digest: each is fetched once and kept.
const EVP_MD* algorithmNamed(DigestAlgorithm algorithm) {
  static const EVP_MD* const fetched[] = {EVP_MD_fetch(nullptr, "MD5", nullptr),
                                          EVP_MD_fetch(nullptr, "SHA1", nullptr),
                                          EVP_MD_fetch(nullptr, "SHA256", nullptr)};
  return fetched[static_cast<size_t>(algorithm)];
}

// A thread's own context for each algorithm: starting one again allocates nothing.
class Contexts {
 public:
  Contexts() = default;
  Contexts(const Contexts&) = delete;
  Contexts& operator=(const Contexts&) = delete;
  ~Contexts() {
    // Emptied, too: a static destructor may still ask for a digest afterwards.
    for (EVP_MD_CTX*& context : contexts_) EVP_MD_CTX_free(std::exchange(context, nullptr));
  }

  EVP_MD_CTX* get(DigestAlgorithm algorithm) {
    EVP_MD_CTX*& context = contexts_[static_cast<size_t>(algorithm)];
    if (!context) context = EVP_MD_CTX_new();
    return context;
  }

 private:
  EVP_MD_CTX* contexts_[3] = {};
};

// A context that has its algorithm already is only reset.
bool start(EVP_MD_CTX* context, DigestAlgorithm algorithm) {
  const EVP_MD* method = algorithmNamed(algorithm);
  if (!context || !method) return false;
  return EVP_DigestInit_ex2(context, EVP_MD_CTX_get0_md(context) == method ? nullptr : method, nullptr) == 1;
}

DigestBytes finished(EVP_MD_CTX* context) {
  DigestBytes result;
  unsigned length = 0;
  if (EVP_DigestFinal_ex(context, result.bytes.data(), &length) == 1) result.length = length;
  return result;
}

}  // namespace

void DigestBytes::writeHex(char* out) const noexcept {
  constexpr char kDigits[] = "0123456789abcdef";
  for (size_t i = 0; i < length; ++i) {
    *out++ = kDigits[bytes[i] >> 4];
    *out++ = kDigits[bytes[i] & 15];
  }
}

DigestBytes digestOf(DigestAlgorithm algorithm, const void* bytes, size_t length) noexcept {
  thread_local Contexts contexts;
  EVP_MD_CTX* context = contexts.get(algorithm);
  if (!start(context, algorithm) || EVP_DigestUpdate(context, bytes, length) != 1) return {};
  return finished(context);
}

struct Digest::Context {
  DigestAlgorithm algorithm;
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  bool sound = false;
};

Digest::Digest(DigestAlgorithm algorithm) : context_(new Context{algorithm}) { begin(); }

Digest::~Digest() { EVP_MD_CTX_free(context_->context); }

void Digest::begin() noexcept { context_->sound = start(context_->context, context_->algorithm); }

void Digest::update(const void* bytes, size_t length) noexcept {
  context_->sound = context_->sound && EVP_DigestUpdate(context_->context, bytes, length) == 1;
}

DigestBytes Digest::finish() noexcept {
  const DigestBytes result = context_->sound ? finished(context_->context) : DigestBytes();
  begin();
  return result;
}

}  // namespace orv::detail
