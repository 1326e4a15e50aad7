// kp160std — authenticated encryption of texts and files (see crypt.h).
#include "encoding/crypt.h"

#include <gcrypt.h>

#include <cstring>
#include <new>

#include "abi/error.h"
#include "abi/strings.h"
#include "abi/vm.h"
#include "encoding/base64.h"
#include "encoding/utf8.h"
#include "encoding/uu.h"
#include "encoding/whole_file.h"
#include "files/path_rule.h"
#include "platform/platform.h"

namespace kp::encoding {
namespace {

constexpr uint8_t kMagic[4] = {'K', 'P', 'C', 'R'};
constexpr uint8_t kVersion = 1;
constexpr uint8_t kPbkdf2Sha256 = 1;
constexpr uint8_t kKindBytes = 0, kKindUtf16 = 1, kKindAnsi = 2;

void InitOnce() {
  // libgcrypt must be told its version check and "initialised" before use;
  // a function-local static makes that once per process, thread-safe.
  static const bool done = [] {
    gcry_check_version(GCRYPT_VERSION);
    gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
    gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
    return true;
  }();
  (void)done;
}

void PutLe32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
uint32_t GetLe32(const uint8_t* p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t{p[3]} << 24; }

// The cipher handle for one call, closed on every path.
struct Cipher {
  gcry_cipher_hd_t h = nullptr;
  explicit Cipher(const uint8_t key[32], const uint8_t nonce[12]) {
    InitOnce();
    if (gcry_cipher_open(&h, GCRY_CIPHER_AES256, GCRY_CIPHER_MODE_GCM, 0) || gcry_cipher_setkey(h, key, 32) ||
        gcry_cipher_setiv(h, nonce, 12))
      throw std::bad_alloc();
  }
  ~Cipher() { gcry_cipher_close(h); }
  Cipher(const Cipher&) = delete;
  Cipher& operator=(const Cipher&) = delete;
};

// Wipes the key when the call ends.
struct Key {
  uint8_t bytes[32];
  ~Key() { std::memset(bytes, 0, sizeof bytes); }
};

bool Refuse(ExecContext* context, int32_t id, Inserts inserts = {}) {
  Raise(context, id, inserts);
  return false;
}

// The method's iteration count; 0 after an error for an unknown method.
uint32_t IterationsOf(ExecContext* context, int32_t method) {
  switch (method & ~kCryptAnsi) {
    case kCryptFast: return kFastIterations;
    case kCryptSecure: return kSecureIterations;
    default: Refuse(context, kErrUnknownEncryptionMode, {method}); return 0;
  }
}

bool KnownEncoding(ExecContext* context, int32_t encoding, bool binaryAllowed) {
  if (encoding == kEncodeBase64 || encoding == kEncodeUu || (binaryAllowed && encoding == kEncodeNone)) return true;
  return Refuse(context, kErrValueOutOfRange, {encoding});
}

std::string EncodeText(std::span<const uint8_t> container, int32_t encoding) {
  return encoding == kEncodeUu ? UuEncodeBody(container) : Base64Encode(container);
}

std::optional<Bytes> DecodeText(std::u16string_view text, int32_t encoding) {
  return encoding == kEncodeUu ? UuDecodeBody(text) : Base64Decode(text);
}

std::span<const uint8_t> AsBytes(std::u16string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size() * 2};
}

}  // namespace

void DeriveKey(std::string_view password, std::span<const uint8_t> salt, uint32_t iterations, uint8_t key[32]) {
  InitOnce();
  if (gcry_kdf_derive(password.data(), password.size(), GCRY_KDF_PBKDF2, GCRY_MD_SHA256, salt.data(), salt.size(),
                      iterations, 32, key))
    throw std::bad_alloc();
}

Bytes AesGcmSeal(const uint8_t key[32], const uint8_t nonce[12], std::span<const uint8_t> aad,
                 std::span<const uint8_t> plain) {
  Cipher c(key, nonce);
  Bytes out(plain.size() + kTagSize);
  if (gcry_cipher_authenticate(c.h, aad.data(), aad.size()) ||
      gcry_cipher_encrypt(c.h, out.data(), plain.size(), plain.data(), plain.size()) ||
      gcry_cipher_gettag(c.h, out.data() + plain.size(), kTagSize))
    throw std::bad_alloc();
  return out;
}

Bytes SealWithKey(std::span<const uint8_t> content, uint8_t kind, const uint8_t key[32], const uint8_t salt[16],
                  uint32_t iterations) {
  Bytes out(kHeaderSize + content.size() + kTagSize);
  uint8_t* h = out.data();
  std::memcpy(h, kMagic, 4);
  h[4] = kVersion;
  h[5] = kind;
  h[6] = kPbkdf2Sha256;
  h[7] = 0;
  PutLe32(h + 8, iterations);
  std::memcpy(h + 12, salt, 16);
  // A fresh random nonce per container; with a fresh salt (so a fresh key)
  // as well, a nonce is never used twice under one key.
  gcry_randomize(h + 28, 12, GCRY_STRONG_RANDOM);
  Cipher c(key, h + 28);
  if (gcry_cipher_authenticate(c.h, h, kHeaderSize) ||
      gcry_cipher_encrypt(c.h, h + kHeaderSize, content.size(), content.data(), content.size()) ||
      gcry_cipher_gettag(c.h, h + kHeaderSize + content.size(), kTagSize))
    throw std::bad_alloc();
  return out;
}

Bytes Seal(std::span<const uint8_t> content, uint8_t kind, std::string_view password, uint32_t iterations) {
  InitOnce();
  uint8_t salt[16];
  gcry_randomize(salt, sizeof salt, GCRY_STRONG_RANDOM);
  Key key;
  DeriveKey(password, salt, iterations, key.bytes);
  return SealWithKey(content, kind, key.bytes, salt, iterations);
}

OpenStatus Open(std::span<const uint8_t> container, std::string_view password, Bytes* content, uint8_t* kind) {
  content->clear();
  if (container.size() < kHeaderSize + kTagSize) return OpenStatus::kNotContainer;
  const uint8_t* h = container.data();
  const uint32_t iterations = GetLe32(h + 8);
  if (std::memcmp(h, kMagic, 4) != 0 || h[4] != kVersion || h[5] > kKindAnsi || h[6] != kPbkdf2Sha256 || h[7] != 0 ||
      iterations == 0 || iterations > kMaxIterations)
    return OpenStatus::kNotContainer;
  Key key;
  DeriveKey(password, {h + 12, 16}, iterations, key.bytes);
  Cipher c(key.bytes, h + 28);
  const size_t n = container.size() - kHeaderSize - kTagSize;
  Bytes plain(n);
  if (gcry_cipher_authenticate(c.h, h, kHeaderSize) || gcry_cipher_decrypt(c.h, plain.data(), n, h + kHeaderSize, n))
    throw std::bad_alloc();
  // The plain bytes are handed out only once the tag has been checked.
  if (gcry_cipher_checktag(c.h, h + kHeaderSize + n, kTagSize) != 0) {
    std::memset(plain.data(), 0, plain.size());
    return OpenStatus::kRefused;
  }
  *kind = h[5];
  *content = std::move(plain);
  return OpenStatus::kOk;
}

std::u16string Crypt(ExecContext* context, std::u16string_view text, std::u16string_view password, int32_t method,
                     int32_t encoding) {
  if (method == kCryptNone) return std::u16string(text);  // crypteAucun: the text as it is
  const uint32_t iterations = IterationsOf(context, method);
  if (!iterations || !KnownEncoding(context, encoding, false)) return {};
  if (password.empty()) return Refuse(context, kErrEmptyPassword), std::u16string();
  Bytes container;
  if (method & kCryptAnsi) {
    const std::string ansi = ToEightBit(text);
    container =
        Seal({reinterpret_cast<const uint8_t*>(ansi.data()), ansi.size()}, kKindAnsi, ToUtf8(password), iterations);
  } else {
    container = Seal(AsBytes(text), kKindUtf16, ToUtf8(password), iterations);
  }
  const std::string encoded = EncodeText(container, encoding);
  return std::u16string(encoded.begin(), encoded.end());
}

std::u16string Uncrypt(ExecContext* context, std::u16string_view text, std::u16string_view password, int32_t method,
                       int32_t encoding) {
  if (method == kCryptNone) return std::u16string(text);
  if (!IterationsOf(context, method) || !KnownEncoding(context, encoding, false)) return {};
  if (password.empty()) return Refuse(context, kErrEmptyPassword), std::u16string();
  const auto container = DecodeText(text, encoding);
  Bytes content;
  uint8_t kind = 0;
  if (!container || Open(*container, ToUtf8(password), &content, &kind) != OpenStatus::kOk)
    return Refuse(context, kErrEncryptedDataDamaged), std::u16string();
  if (kind == kKindAnsi) return FromEightBit({reinterpret_cast<const char*>(content.data()), content.size()});
  if (kind == kKindUtf16 && content.size() % 2 == 0) {
    std::u16string out(content.size() / 2, u'\0');
    std::memcpy(out.data(), content.data(), content.size());
    return out;
  }
  // Bytes (a file's container read as text): not a text of ours.
  return Refuse(context, kErrEncryptedDataDamaged), std::u16string();
}

namespace {

// What fCrypte and fDécrypte share before their work: the arguments checked
// and the source read whole; false with the error raised (`errorId` for a
// file that cannot be read).
bool ReadFileToTransform(ExecContext* context, int32_t errorId, std::u16string_view source,
                         std::u16string_view destination, std::u16string_view password, int32_t method,
                         int32_t encoding, Bytes* data) {
  if (!IterationsOf(context, method | (method == kCryptNone ? kCryptFast : 0)) ||
      !KnownEncoding(context, encoding, true))
    return false;
  if (method != kCryptNone && password.empty()) return Refuse(context, kErrEmptyPassword);
  if (!files::CheckName(context, source) || !files::CheckName(context, destination)) return false;
  if (ReadWholeFile(source, data)) return true;
  RaiseSystem(context, errorId, platform::LastError(), {source});
  return false;
}

// And after it: the destination replaced whole, or left as it was.
bool WriteTransformed(ExecContext* context, int32_t errorId, std::u16string_view destination, const Bytes& out) {
  if (ReplaceWholeFile(destination, out)) return true;
  RaiseSystem(context, errorId, platform::LastError(), {destination});
  return false;
}

}  // namespace

bool CryptFile(ExecContext* context, std::u16string_view source, std::u16string_view destination,
               std::u16string_view password, int32_t method, int32_t encoding) {
  Bytes data;
  if (!ReadFileToTransform(context, kErrCannotEncryptFile, source, destination, password, method, encoding, &data))
    return false;
  Bytes out;
  if (method == kCryptNone) {
    out = std::move(data);  // crypteAucun: a copy
  } else {
    const Bytes container = Seal(data, kKindBytes, ToUtf8(password), IterationsOf(context, method));
    if (encoding == kEncodeNone) {
      out = container;
    } else {
      const std::string text = EncodeText(container, encoding);
      out.assign(text.begin(), text.end());
    }
  }
  return WriteTransformed(context, kErrCannotEncryptFile, destination, out);
}

bool UncryptFile(ExecContext* context, std::u16string_view source, std::u16string_view destination,
                 std::u16string_view password, int32_t method, int32_t encoding) {
  Bytes data;
  if (!ReadFileToTransform(context, kErrCannotDecryptFile, source, destination, password, method, encoding, &data))
    return false;
  Bytes out;
  if (method == kCryptNone) {
    out = std::move(data);
  } else {
    std::optional<Bytes> container;
    if (encoding == kEncodeNone) {
      container = std::move(data);
    } else {
      container = DecodeText(std::u16string(data.begin(), data.end()), encoding);
    }
    uint8_t kind = 0;
    // Nothing is written when the container does not open: no partial or
    // garbage file.
    if (!container || Open(*container, ToUtf8(password), &out, &kind) != OpenStatus::kOk) {
      Raise(context, kErrEncryptedDataDamaged);
      return false;
    }
  }
  return WriteTransformed(context, kErrCannotDecryptFile, destination, out);
}

}  // namespace kp::encoding
