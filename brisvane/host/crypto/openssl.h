// OpenSSL as the library uses it: a context of its own, and algorithms that are looked up once.
// Private to the library.
#pragma once

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <array>
#include <memory>

#include "brisvane/types/result.h"

namespace brisvane::host::openssl {

struct Free {
  void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
  void operator()(EVP_CIPHER_CTX* context) const noexcept { EVP_CIPHER_CTX_free(context); }
  void operator()(EVP_MD* digest) const noexcept { EVP_MD_free(digest); }
  void operator()(EVP_CIPHER* cipher) const noexcept { EVP_CIPHER_free(cipher); }
  void operator()(OSSL_PROVIDER* provider) const noexcept { OSSL_PROVIDER_unload(provider); }
  void operator()(OSSL_LIB_CTX* context) const noexcept { OSSL_LIB_CTX_free(context); }
};
using DigestContext = std::unique_ptr<EVP_MD_CTX, Free>;
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, Free>;

// The two forms of a block cipher. RC4 has one, which stands in both places.
struct Modes {
  std::unique_ptr<EVP_CIPHER, Free> cbc;
  std::unique_ptr<EVP_CIPHER, Free> ecb;
};

// From a context of the library's own, which the program's use of OpenSSL neither sees nor changes.
// Each is null where the installed OpenSSL does not have it. DES, CAST-128 and RC4 come from its
// "legacy" provider, which is a file and a package of its own on some systems.
struct Algorithms {
  std::unique_ptr<OSSL_LIB_CTX, Free> context;  // goes last
  std::unique_ptr<OSSL_PROVIDER, Free> standard;
  std::unique_ptr<OSSL_PROVIDER, Free> legacy;
  std::unique_ptr<EVP_MD, Free> sha1;
  std::array<Modes, 3> aes;  // of keys of 16, 24 and 32 bytes
  Modes des;
  Modes tripleDes;
  Modes cast128;
  Modes rc4;
};

// Looked up at the first call, and kept until the process ends. ENOMEM when there is no memory for
// them: a later call tries again. The pointer is never null. It may throw std::bad_alloc.
Result<const Algorithms*> algorithms();

// Takes the errors that a function of ours has left in the thread's queue, which the program
// shares, out of it again.
class ErrorMark {
 public:
  ErrorMark() noexcept { ERR_set_mark(); }
  ErrorMark(const ErrorMark&) = delete;
  ErrorMark& operator=(const ErrorMark&) = delete;
  ~ErrorMark() { ERR_pop_to_mark(); }
};

}  // namespace brisvane::host::openssl
