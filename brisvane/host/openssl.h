// OpenSSL as the library uses it: a context of its own, and algorithms that are looked up once.
// Private to the library.
#pragma once

#include <openssl/err.h>
#include <openssl/evp.h>

#include <array>
#include <cstddef>
#include <memory>

namespace brisvane::host::openssl {

struct Free {
  void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
  void operator()(EVP_CIPHER_CTX* context) const noexcept { EVP_CIPHER_CTX_free(context); }
};
using DigestContext = std::unique_ptr<EVP_MD_CTX, Free>;
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, Free>;

// The two forms of a block cipher. RC4 has one, which stands in both places.
struct Modes {
  EVP_CIPHER* cbc = nullptr;
  EVP_CIPHER* ecb = nullptr;
};

// From a context of the library's own, which the program's use of OpenSSL neither sees nor changes.
// Each is null where the installed OpenSSL does not have it, or memory for it was missing. DES, CAST-128 and RC4 come
// from its "legacy" provider, which is a file and a package of its own on some systems.
struct Algorithms {
  EVP_MD* sha1 = nullptr;
  std::array<Modes, 3> aes;  // of keys of 16, 24 and 32 bytes
  Modes des;
  Modes tripleDes;
  Modes cast128;
  Modes rc4;
};

// Looked up at the first call, and kept until the process ends. Null when there was no memory for
// the context; a later call tries again.
const Algorithms* algorithms() noexcept;

// Takes the errors that a function of ours has left in the thread's queue, which the program
// shares, out of it again.
class ErrorMark {
 public:
  ErrorMark() noexcept { ERR_set_mark(); }
  ErrorMark(const ErrorMark&) = delete;
  ErrorMark& operator=(const ErrorMark&) = delete;
  ~ErrorMark() { ERR_pop_to_mark(); }

  // Whether the last failure was one of memory.
  [[nodiscard]] static bool isOfMemory() noexcept {
    return ERR_GET_REASON(ERR_peek_last_error()) == ERR_R_MALLOC_FAILURE;
  }
};

}  // namespace brisvane::host::openssl
