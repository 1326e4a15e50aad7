#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "abi/error_ids.h"
#include "encoding/base64.h"
#include "encoding/crypt.h"
#include "encoding/reference.h"
#include "files/files_fixture.h"
#include "support/fake_context.h"

namespace {

using kp::Bytes;
using kp::test::Capture;
using kp::test::TempDir;
namespace enc = kp::encoding;

Bytes Hex(std::string_view hex) {
  Bytes out;
  for (size_t i = 0; i + 1 < hex.size(); i += 2)
    out.push_back(static_cast<uint8_t>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
  return out;
}

// The container format read by a decoder written apart, with the Python
// 'cryptography' module's PBKDF2 and AES-GCM (plain text out in hex).
constexpr char kPythonOpen[] = R"PY(
import base64, struct, sys
from cryptography.hazmat.primitives import hashes
from cryptography.hazmat.primitives.kdf.pbkdf2 import PBKDF2HMAC
from cryptography.hazmat.primitives.ciphers.aead import AESGCM
blob = base64.b64decode(open(sys.argv[1]).read())
magic, version, kind, kdf, reserved, iterations = struct.unpack('<4sBBBBI', blob[:12])
assert magic == b'KPCR' and version == 1 and kdf == 1 and reserved == 0
salt, nonce = blob[12:28], blob[28:40]
key = PBKDF2HMAC(hashes.SHA256(), 32, salt, iterations).derive(sys.argv[2].encode('utf-8'))
plain = AESGCM(key).decrypt(nonce, blob[40:], blob[:40])
print(kind, plain.hex())
)PY";

// A container made by the same independent code, for our reader.
constexpr char kPythonSeal[] = R"PY(
import base64, os, struct, sys
from cryptography.hazmat.primitives import hashes
from cryptography.hazmat.primitives.kdf.pbkdf2 import PBKDF2HMAC
from cryptography.hazmat.primitives.ciphers.aead import AESGCM
salt, nonce, iterations = os.urandom(16), os.urandom(12), 12345
header = b'KPCR' + struct.pack('<BBBBI', 1, 1, 1, 0, iterations) + salt + nonce
key = PBKDF2HMAC(hashes.SHA256(), 32, salt, iterations).derive(sys.argv[1].encode('utf-8'))
sys.stdout.write(base64.b64encode(header + AESGCM(key).encrypt(nonce, sys.argv[2].encode('utf-16-le'), header)).decode())
)PY";

std::string Quote(const std::string& s) { return "'" + s + "'"; }

// NIST's GCM test cases 13 and 14 (AES-256, zero key and nonce).
TEST(Crypte, AesGcmPrimitiveMatchesPublishedVectors) {
  const uint8_t key[32] = {};
  const uint8_t nonce[12] = {};
  EXPECT_EQ(enc::AesGcmSeal(key, nonce, {}, {}), Hex("530f8afbc74536b9a963b4f1c4cb738b"));
  const Bytes zeros(16, 0);
  EXPECT_EQ(enc::AesGcmSeal(key, nonce, {}, zeros),
            Hex("cea7403d4d606b6e074ec5d3baf39d18d0d1c8a799996bf0265b98b5d48ab919"));
}

TEST(Crypte, IndependentPythonDecoderReadsOurContainer) {
  if (!kp::test::HavePythonModule("cryptography")) GTEST_SKIP() << "python3-cryptography is not installed";
  TempDir dir;
  ASSERT_TRUE(kp::test::WriteAll(dir / "open.py", kPythonOpen, std::strlen(kPythonOpen)));
  const std::u16string text = u"Données secrètes € 𝄞";
  kp::test::FakeContext context;
  const std::u16string sealed = enc::Crypt(context, text, u"mot de passe é", enc::kCryptFast, enc::kEncodeBase64);
  ASSERT_FALSE(context.hasError());
  const std::string ascii(sealed.begin(), sealed.end());
  ASSERT_TRUE(kp::test::WriteAll(dir / "c", ascii.data(), ascii.size()));
  int status;
  const std::string out =
      Capture("python3 " + (dir / "open.py") + " " + (dir / "c") + " " + Quote("mot de passe é"), &status);
  ASSERT_EQ(status, 0);
  std::string hex;
  for (char16_t c : text) {
    char b[5];
    std::snprintf(b, sizeof b, "%02x%02x", c & 0xff, c >> 8);
    hex += b;
  }
  EXPECT_EQ(out, "1 " + hex + "\n");
  // The count of crypteRapide is in the header.
  const auto blob = enc::Base64Decode(sealed);
  ASSERT_TRUE(blob);
  EXPECT_EQ((*blob)[8] | (*blob)[9] << 8 | (*blob)[10] << 16, static_cast<int>(enc::kFastIterations));
}

TEST(Decrypte, ReadsAContainerMadeByPython) {
  if (!kp::test::HavePythonModule("cryptography")) GTEST_SKIP() << "python3-cryptography is not installed";
  TempDir dir;
  ASSERT_TRUE(kp::test::WriteAll(dir / "seal.py", kPythonSeal, std::strlen(kPythonSeal)));
  int status;
  const std::string sealed = Capture("python3 " + (dir / "seal.py") + " secret " + Quote("Bonjour à tous"), &status);
  ASSERT_EQ(status, 0);
  kp::test::FakeContext context;
  EXPECT_EQ(enc::Uncrypt(context, std::u16string(sealed.begin(), sealed.end()), u"secret", enc::kCryptSecure,
                         enc::kEncodeBase64),
            u"Bonjour à tous");
  EXPECT_FALSE(context.hasError());
}

TEST(Decrypte, RoundTripsEveryMethodAndEncoding) {
  const std::u16string text = u"Ligne 1\r\nLigne 2 — ü";
  for (int32_t method : {enc::kCryptFast, enc::kCryptFast | enc::kCryptAnsi}) {
    for (int32_t encoding : {enc::kEncodeBase64, enc::kEncodeUu}) {
      kp::test::FakeContext context;
      const std::u16string sealed = enc::Crypt(context, text, u"pw", method, encoding);
      ASSERT_FALSE(context.hasError());
      const std::u16string back = enc::Uncrypt(context, sealed, u"pw", enc::kCryptFast, encoding);
      EXPECT_FALSE(context.hasError());
      // The ANSI form keeps what the code page holds ("—" may become "?").
      if (method & enc::kCryptAnsi)
        EXPECT_EQ(back.substr(0, 16), text.substr(0, 16));
      else
        EXPECT_EQ(back, text);
    }
  }
  // A fresh salt and nonce each time: the same text never encrypts alike.
  EXPECT_NE(enc::Crypt(nullptr, text, u"pw", enc::kCryptFast, 2), enc::Crypt(nullptr, text, u"pw", enc::kCryptFast, 2));
  // crypteAucun passes the text through both ways.
  EXPECT_EQ(enc::Crypt(nullptr, text, u"", enc::kCryptNone, 2), text);
  EXPECT_EQ(enc::Uncrypt(nullptr, text, u"", enc::kCryptNone, 2), text);
}

TEST(Decrypte, WrongPasswordTamperedTruncatedOrEmptyIsAnError) {
  kp::test::FakeContext sealing;
  const std::u16string sealed = enc::Crypt(sealing, u"attack at dawn", u"right", enc::kCryptFast, enc::kEncodeBase64);
  const Bytes blob = *enc::Base64Decode(sealed);
  std::vector<std::u16string> bad = {u"", u"####", sealed.substr(0, sealed.size() - 4)};
  for (size_t at = 0; at < blob.size(); ++at) {
    Bytes changed = blob;
    changed[at] ^= 0x01;
    const std::string text = enc::Base64Encode(changed);
    bad.emplace_back(text.begin(), text.end());
  }
  for (const auto& b : bad) {
    kp::test::FakeContext context;
    EXPECT_EQ(enc::Uncrypt(context, b, u"right", enc::kCryptFast, enc::kEncodeBase64), u"");
    EXPECT_EQ(context.errorId(), kp::kErrEncryptedDataDamaged);
  }
  kp::test::FakeContext context;
  EXPECT_EQ(enc::Uncrypt(context, sealed, u"wrong", enc::kCryptFast, enc::kEncodeBase64), u"");
  EXPECT_EQ(context.errorId(), kp::kErrEncryptedDataDamaged);
}

TEST(Crypte, BadArgumentsAreNamedErrors) {
  struct Case {
    int32_t method, encoding;
    std::u16string password;
    int32_t error;
  } cases[] = {{3, 2, u"pw", kp::kErrUnknownEncryptionMode},  // crypteRC516 is not offered
               {7, 2, u"pw", kp::kErrUnknownEncryptionMode},
               {1, 0, u"pw", kp::kErrValueOutOfRange},  // a text result needs a text encoding
               {1, 1, u"pw", kp::kErrValueOutOfRange},
               {1, 2, u"", kp::kErrEmptyPassword}};
  for (const Case& c : cases) {
    kp::test::FakeContext context;
    EXPECT_EQ(enc::Crypt(context, u"x", c.password, c.method, c.encoding), u"");
    EXPECT_EQ(context.errorId(), c.error) << c.method << "/" << c.encoding;
  }
}

class CrypteFile : public kp::test::FilesTest {};

TEST_F(CrypteFile, FilesRoundTripInEveryEncoding) {
  std::string content(100000, '\0');
  for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7 + i / 251);
  PutFile("d/plain.bin", content);
  for (int32_t encoding : {enc::kEncodeNone, enc::kEncodeBase64, enc::kEncodeUu}) {
    ASSERT_TRUE(enc::CryptFile(ctx_, u"\\d\\plain.bin", u"\\d\\sealed", u"pw", enc::kCryptFast, encoding));
    EXPECT_NE(GetFile("d/sealed"), content);
    ASSERT_TRUE(enc::UncryptFile(ctx_, u"\\d\\sealed", u"\\d\\back.bin", u"pw", enc::kCryptFast, encoding));
    EXPECT_EQ(GetFile("d/back.bin"), content) << encoding;
  }
  EXPECT_FALSE(ctx_.hasError());
}

TEST_F(CrypteFile, FailuresWriteNothing) {
  PutFile("d/plain.txt", "hello");
  ASSERT_TRUE(enc::CryptFile(ctx_, u"\\d\\plain.txt", u"\\d\\sealed", u"pw", enc::kCryptFast, enc::kEncodeNone));
  PutFile("d/existing", "keep me");
  EXPECT_FALSE(enc::UncryptFile(ctx_, u"\\d\\sealed", u"\\d\\existing", u"bad", enc::kCryptFast, enc::kEncodeNone));
  EXPECT_EQ(ctx_.errorId(), kp::kErrEncryptedDataDamaged);
  EXPECT_EQ(GetFile("d/existing"), "keep me");
  ctx_.clearError();
  EXPECT_FALSE(enc::UncryptFile(ctx_, u"\\d\\plain.txt", u"\\d\\new", u"pw", enc::kCryptFast, enc::kEncodeNone));
  EXPECT_FALSE(HostExists("d/new"));
  ctx_.clearError();
  EXPECT_FALSE(enc::CryptFile(ctx_, u"\\d\\missing", u"\\d\\new", u"pw", enc::kCryptFast, enc::kEncodeNone));
  EXPECT_EQ(ctx_.errorId(), kp::kErrCannotEncryptFile);
  EXPECT_EQ(ctx_.systemError(), 2u);
  EXPECT_FALSE(HostExists("d/new"));
  ctx_.clearError();
  EXPECT_FALSE(enc::CryptFile(ctx_, u"d\\plain.txt", u"\\d\\new", u"pw", enc::kCryptFast, enc::kEncodeNone));
  EXPECT_EQ(ctx_.errorId(), kp::kErrPathNotAbsolute);
  for (auto& e : std::filesystem::directory_iterator(Host("d")))
    EXPECT_EQ(e.path().filename().string().find("partial"), std::string::npos) << e.path();
}

}  // namespace
