// Digests, authentication codes and ciphers.
#include <brisvane/support/security.h>
#include <openssl/evp.h>
#include <openssl/sha.h>

#include <memory>

#include "bench/harness.h"

namespace brisvane::bench {
namespace {

using SecurityAdditions::HMACSHA1;
using SecurityAdditions::sha1Hash;

Data someBytes(std::size_t count) {
  return SecurityAdditions::randomDataOfLength(static_cast<std::int64_t>(count)).value();
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored \
    "-Wdeprecated-declarations"  // the compression, with nothing around it

Data bareSha1(ByteView bytes) {
  Data digest(SHA_DIGEST_LENGTH);
  SHA_CTX context;
  SHA1_Init(&context);
  SHA1_Update(&context, bytes.data(), bytes.size());
  SHA1_Final(digest.data(), &context);
  return digest;
}

std::string bareHmac(ByteView key, ByteView message) {
  std::uint8_t pad[64] = {};
  std::copy(key.begin(), key.end(), pad);
  std::uint8_t digest[SHA_DIGEST_LENGTH];
  SHA_CTX context;
  for (std::uint8_t& byte : pad) byte ^= 0x36U;
  SHA1_Init(&context);
  SHA1_Update(&context, pad, sizeof pad);
  SHA1_Update(&context, message.data(), message.size());
  SHA1_Final(digest, &context);
  for (std::uint8_t& byte : pad) byte ^= 0x36U ^ 0x5CU;
  SHA1_Init(&context);
  SHA1_Update(&context, pad, sizeof pad);
  SHA1_Update(&context, digest, sizeof digest);
  SHA1_Final(digest, &context);
  return SecurityAdditions::bin2hex(digest);
}

#pragma GCC diagnostic pop

using Digest = std::shared_ptr<EVP_MD>;
using DigestContext = std::shared_ptr<EVP_MD_CTX>;
using Cipher = std::shared_ptr<EVP_CIPHER>;
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

Row sha1Row(std::string size, std::size_t count, const Goal& goal) {
  const Data bytes = someBytes(count);
  const Data expected = bareSha1(bytes);
  const Digest sha1(EVP_MD_fetch(nullptr, "SHA1", nullptr), &EVP_MD_free);
  const DigestContext context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
  return {std::move(size),
          goal,
          {giving(
               "compression", [bytes] { return bareSha1(bytes); }, expected),
           giving(
               "sha1Hash", [bytes] { return sha1Hash(bytes).value(); }, expected),
           giving(
               "EVP, its context kept",
               [bytes, sha1, context] {
                 Data digest(SHA_DIGEST_LENGTH);
                 EVP_DigestInit_ex2(context.get(), sha1.get(), nullptr);
                 EVP_DigestUpdate(context.get(), bytes.data(), bytes.size());
                 EVP_DigestFinal_ex(context.get(), digest.data(), nullptr);
                 return digest;
               },
               expected)}};
}

Row hmacRow(std::string size, std::size_t count, const Goal& goal) {
  const Data bytes = someBytes(count);
  const Data key = someBytes(20);
  const std::string expected = bareHmac(key, bytes);
  return {std::move(size),
          goal,
          {giving(
               "compression", [bytes, key] { return bareHmac(key, bytes); }, expected),
           giving(
               "HMACSHA1", [bytes, key] { return HMACSHA1(bytes, key).value(); }, expected)}};
}

Data evpCipher(const EVP_CIPHER* cipher, ByteView bytes, ByteView key, ByteView vector,
               int encrypts) {
  const CipherContext context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
  Data output(bytes.size() + 16);
  int count = 0;
  int last = 0;
  EVP_CipherInit_ex2(context.get(), cipher, key.data(), vector.data(), encrypts, nullptr);
  EVP_CipherUpdate(context.get(), output.data(), &count, bytes.data(),
                   static_cast<int>(bytes.size()));
  EVP_CipherFinal_ex(context.get(), output.data() + count, &last);
  output.resize(static_cast<std::size_t>(count + last));
  return output;
}

Row aesRow(std::string size, std::size_t count, bool encrypts, const Goal& goal) {
  constexpr std::uint32_t kAes = 0;
  constexpr std::uint32_t kPkcs7Padding = 1;
  const Data key = someBytes(16);
  const Data vector = someBytes(16);
  const Cipher aes(EVP_CIPHER_fetch(nullptr, "AES-128-CBC", nullptr), &EVP_CIPHER_free);
  Data bytes = someBytes(count);
  if (!encrypts) bytes = evpCipher(aes.get(), bytes, key, vector, 1);
  const Data expected = evpCipher(aes.get(), bytes, key, vector, encrypts ? 1 : 0);
  const auto ours = encrypts ? &SecurityAdditions::dataEncryptedUsingAlgorithm
                             : &SecurityAdditions::dataDecryptedUsingAlgorithm;
  return {
      std::move(size),
      goal,
      {giving(
           "EVP, a new context",
           [=] { return evpCipher(aes.get(), bytes, key, vector, encrypts ? 1 : 0); }, expected),
       giving(
           encrypts ? "dataEncryptedUsingAlgorithm" : "dataDecryptedUsingAlgorithm",
           [=] { return ours(bytes, kAes, key, vector, kPkcs7Padding, nullptr).value(); },
           expected)}};
}

constexpr std::size_t kMi = std::size_t{1} << 20U;

}  // namespace

std::vector<Table> cryptoTables() {
  return {{"sha1Hash", {sha1Row("64 B", 64, 2.7), sha1Row("1 MiB", kMi, 1.02)}},
          {"HMACSHA1", {hmacRow("64 B", 64, 2.1), hmacRow("1 MiB", kMi, 1.02)}},
          {"AES-128-CBC",
           {aesRow("64 B, encrypted", 64, true, 1.25), aesRow("64 B, decrypted", 64, false, 1.25),
            aesRow("1 MiB, encrypted", kMi, true, 1.02),
            aesRow("1 MiB, decrypted", kMi, false, 1.02)}}};
}

}  // namespace brisvane::bench
