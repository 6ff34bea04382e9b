#include "brisvane/host/openssl.h"

#include <openssl/provider.h>

#include <mutex>

#include "brisvane/host/process_locks.h"

namespace brisvane::host::openssl {
namespace {

constinit Algorithms found;
constinit bool isFound = false;

Modes fetch(OSSL_LIB_CTX* context, const char* cbc, const char* ecb) noexcept {
  return {EVP_CIPHER_fetch(context, cbc, nullptr), EVP_CIPHER_fetch(context, ecb, nullptr)};
}

// The context, its providers and the algorithms live as long as the process.
bool find() noexcept {
  OSSL_LIB_CTX* const context = OSSL_LIB_CTX_new();
  if (context == nullptr) return false;
  if (OSSL_PROVIDER_load(context, "default") == nullptr) {
    OSSL_LIB_CTX_free(context);
    return false;
  }
  static_cast<void>(OSSL_PROVIDER_load(context, "legacy"));  // then its algorithms are missing
  found.sha1 = EVP_MD_fetch(context, "SHA1", nullptr);
  found.aes = {fetch(context, "AES-128-CBC", "AES-128-ECB"), fetch(context, "AES-192-CBC", "AES-192-ECB"),
               fetch(context, "AES-256-CBC", "AES-256-ECB")};
  found.des = fetch(context, "DES-CBC", "DES-ECB");
  found.tripleDes = fetch(context, "DES-EDE3-CBC", "DES-EDE3-ECB");
  found.cast128 = fetch(context, "CAST5-CBC", "CAST5-ECB");
  found.rc4 = fetch(context, "RC4", "RC4");
  return true;
}

}  // namespace

const Algorithms* algorithms() noexcept {
  const std::scoped_lock lock(processLocks().cryptography);
  const ErrorMark mark;
  if (!isFound) isFound = find();
  return isFound ? &found : nullptr;
}

}  // namespace brisvane::host::openssl
