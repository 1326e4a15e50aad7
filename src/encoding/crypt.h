// kp160std — Crypte/Décrypte (texts) and fCrypte/fDécrypte (files):
// AES-256-GCM with a key derived from the password by PBKDF2-HMAC-SHA256
// and a random salt, through libgcrypt.
//
// The container (all numbers little-endian):
//   offset 0  4 bytes  magic "KPCR"
//          4  1 byte   version, 1
//          5  1 byte   content: 0 bytes, 1 UTF-16LE text, 2 8-bit (ANSI) text
//          6  1 byte   key derivation: 1 = PBKDF2-HMAC-SHA256
//          7  1 byte   0 (reserved)
//          8  4 bytes  iteration count
//         12 16 bytes  salt
//         28 12 bytes  nonce
//         40  n bytes  AES-256-GCM ciphertext of the content
//       40+n 16 bytes  GCM tag
// The 40 header bytes are authenticated as associated data: changing any
// byte of the container, or the password, fails the tag check.
//
// Thread-safety: any thread (libgcrypt is initialised once, on first use).
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "abi/value.h"
#include "kp160std/abi.h"

namespace kp::encoding {

// Methods (crypteAucun, crypteRapide, crypteSécurisé, crypteRC516) and the
// crypteAnsi bit; encodings of the text result.
constexpr int32_t kCryptNone = 0;
constexpr int32_t kCryptFast = 1;
constexpr int32_t kCryptSecure = 2;
constexpr int32_t kCryptAnsi = 0x100;
constexpr int32_t kEncodeNone = 0;
constexpr int32_t kEncodeBase64 = 2;
constexpr int32_t kEncodeUu = 3;
// PBKDF2 iterations of crypteRapide and crypteSécurisé; the most a container
// may ask for when read (a forged count cannot stall the reader for long).
constexpr uint32_t kFastIterations = 10000;
constexpr uint32_t kSecureIterations = 600000;
constexpr uint32_t kMaxIterations = 2000000;
constexpr size_t kHeaderSize = 40;
constexpr size_t kTagSize = 16;

// KL functions.
std::u16string Crypt(ExecContext* context, std::u16string_view text, std::u16string_view password, int32_t method,
                     int32_t encoding);
std::u16string Uncrypt(ExecContext* context, std::u16string_view text, std::u16string_view password, int32_t method,
                       int32_t encoding);
bool CryptFile(ExecContext* context, std::u16string_view source, std::u16string_view destination,
               std::u16string_view password, int32_t method, int32_t encoding);
bool UncryptFile(ExecContext* context, std::u16string_view source, std::u16string_view destination,
                 std::u16string_view password, int32_t method, int32_t encoding);

// The container of `content` (kind 0, 1 or 2) under a password.
Bytes Seal(std::span<const uint8_t> content, uint8_t kind, std::string_view password, uint32_t iterations);
enum class OpenStatus { kOk, kNotContainer, kRefused };
// kNotContainer: too short, another magic or version, an unknown key
// derivation or an iteration count out of range; kRefused: the tag check
// failed (wrong password or changed bytes).
OpenStatus Open(std::span<const uint8_t> container, std::string_view password, Bytes* content, uint8_t* kind);

// The pieces, for tests and benchmarks.
void DeriveKey(std::string_view password, std::span<const uint8_t> salt, uint32_t iterations, uint8_t key[32]);
// Ciphertext then tag; the raw AES-256-GCM of libgcrypt.
Bytes AesGcmSeal(const uint8_t key[32], const uint8_t nonce[12], std::span<const uint8_t> aad,
                 std::span<const uint8_t> plain);
// The container for an already derived key (what Seal does after the KDF).
Bytes SealWithKey(std::span<const uint8_t> content, uint8_t kind, const uint8_t key[32], const uint8_t salt[16],
                  uint32_t iterations);

}  // namespace kp::encoding
