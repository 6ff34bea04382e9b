#include "brisvane/host/crypto/openssl.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>

#include "brisvane/types/process_locks.h"

namespace brisvane::host::openssl {
namespace {

Modes fetch(OSSL_LIB_CTX* context, const char* cbc, const char* ecb) noexcept {
  return {std::unique_ptr<EVP_CIPHER, Free>(EVP_CIPHER_fetch(context, cbc, nullptr)),
          std::unique_ptr<EVP_CIPHER, Free>(EVP_CIPHER_fetch(context, ecb, nullptr))};
}

// Null when there is no memory for the context, or for the default provider, which is a part of
// OpenSSL itself.
std::unique_ptr<Algorithms> lookUp() {
  auto found = std::make_unique<Algorithms>();
  found->context.reset(OSSL_LIB_CTX_new());
  OSSL_LIB_CTX* const context = found->context.get();
  if (context == nullptr) return nullptr;
  found->standard.reset(OSSL_PROVIDER_load(context, "default"));
  if (found->standard == nullptr) return nullptr;
  found->legacy.reset(
      OSSL_PROVIDER_load(context, "legacy"));  // without it its algorithms are missing
  found->sha1.reset(EVP_MD_fetch(context, "SHA1", nullptr));
  found->aes = {fetch(context, "AES-128-CBC", "AES-128-ECB"),
                fetch(context, "AES-192-CBC", "AES-192-ECB"),
                fetch(context, "AES-256-CBC", "AES-256-ECB")};
  found->des = fetch(context, "DES-CBC", "DES-ECB");
  found->tripleDes = fetch(context, "DES-EDE3-CBC", "DES-EDE3-ECB");
  found->cast128 = fetch(context, "CAST5-CBC", "CAST5-ECB");
  found->rc4 = fetch(context, "RC4", "RC4");
  return found;
}

bool isComplete(const Algorithms& all) noexcept {
  const auto isThere = [](const Modes& modes) {
    return modes.cbc != nullptr && modes.ecb != nullptr;
  };
  return all.sha1 != nullptr && std::all_of(all.aes.begin(), all.aes.end(), isThere) &&
         isThere(all.des) && isThere(all.tripleDes) && isThere(all.cast128) && isThere(all.rc4);
}

// More than any provider takes to begin with.
bool isThereMemory() noexcept {
  constexpr std::size_t kEnough = std::size_t{256} << 10U;
  void* const block = OPENSSL_malloc(kEnough);
  OPENSSL_free(block);
  return block != nullptr;
}

}  // namespace

Result<const Algorithms*> algorithms() {
  static constinit std::atomic<const Algorithms*> found = nullptr;
  if (const Algorithms* const all = found.load(std::memory_order_acquire)) return all;
  const std::scoped_lock lock(processLock(ProcessLock::kCryptography));
  if (const Algorithms* const all = found.load(std::memory_order_relaxed)) return all;
  const ErrorMark mark;
  auto all = lookUp();
  // OpenSSL does not always say that it was memory that it lacked: what is missing must be missing
  // twice, the second time with memory there.
  if (all == nullptr || !isComplete(*all)) all = isThereMemory() ? lookUp() : nullptr;
  if (all == nullptr) return Error(ENOMEM);
  found.store(all.get(), std::memory_order_release);
  return all.release();
}

}  // namespace brisvane::host::openssl
