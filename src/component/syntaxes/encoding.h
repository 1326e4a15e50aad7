// kp160std — syntaxes of the encoding functions, in table order of their rows.
//
// Each array is one function row's syntaxes: kp::Syntax<impl, result, params...>
// for a syntax implemented here, kp::Unavailable<result, params...> for one
// declared without an implementation on this platform (null entry function).
#pragma once

#include "component/frame.h"
#include "encoding/binary_diff.h"
#include "encoding/compress.h"
#include "encoding/crc.h"
#include "encoding/crypt.h"
#include "encoding/guid.h"
#include "encoding/image_filter.h"
#include "encoding/phonetic.h"
#include "encoding/regex.h"
#include "encoding/url.h"
#include "encoding/uu.h"

namespace kp::syn {

  // Phonétique/Phonetic: the Soundex2 code of a name.
inline constexpr KLSyntax kPhonetic[] = {
    Syntax<encoding::Phonetic, KL_T_TEXT, KL_T_TEXT_CELL>()};
  // sCalculeCrc16/sComputeCrc16: any value; a buffer by its bytes, anything
  // else by its text.
inline constexpr KLSyntax ksComputeCrc16[] = {
    Syntax<encoding::ComputeCrc16, KL_T_INT, KL_T_VARIANT>()};
  // Crypte/Crypt: (text, password) with crypteSécurisé and Base64, then the
  // method (crypteAucun/crypteRapide/crypteSécurisé, | crypteAnsi), then the
  // encoding of the result (encodeBASE64/encodeUUEncode).
inline constexpr KLSyntax kCrypt[] = {
    Syntax<[](ExecContext* c, std::u16string_view t, std::u16string_view p) {
      return encoding::Crypt(c, t, p, encoding::kCryptSecure, encoding::kEncodeBase64);
    }, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view t, std::u16string_view p, int32_t m) {
      return encoding::Crypt(c, t, p, m, encoding::kEncodeBase64);
    }, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT>(),
    Syntax<encoding::Crypt, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT>()};
  // Décrypte/Uncrypt: mirrors Crypte (the iteration count is read from the
  // encrypted text; the method only tells crypteAucun from the others).
inline constexpr KLSyntax kUncrypt[] = {
    Syntax<[](ExecContext* c, std::u16string_view t, std::u16string_view p) {
      return encoding::Uncrypt(c, t, p, encoding::kCryptSecure, encoding::kEncodeBase64);
    }, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view t, std::u16string_view p, int32_t m) {
      return encoding::Uncrypt(c, t, p, m, encoding::kEncodeBase64);
    }, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT>(),
    Syntax<encoding::Uncrypt, KL_T_TEXT, KL_T_TEXT_CELL, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT>()};
  // fCrypte/fCrypt: (source, destination, password[, method[, encoding]]);
  // the file's container as bytes (encodeAucun) unless an encoding is given.
inline constexpr KLSyntax kfCrypt[] = {
    Syntax<[](ExecContext* c, std::u16string_view s, std::u16string_view d, std::u16string_view p) {
      return encoding::CryptFile(c, s, d, p, encoding::kCryptSecure, encoding::kEncodeNone);
    }, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view s, std::u16string_view d, std::u16string_view p, int32_t m) {
      return encoding::CryptFile(c, s, d, p, m, encoding::kEncodeNone);
    }, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_INT>(),
    Syntax<encoding::CryptFile, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT>()};
  // fDécrypte/fUncrypt: mirrors fCrypte.
inline constexpr KLSyntax kfUncrypt[] = {
    Syntax<[](ExecContext* c, std::u16string_view s, std::u16string_view d, std::u16string_view p) {
      return encoding::UncryptFile(c, s, d, p, encoding::kCryptSecure, encoding::kEncodeNone);
    }, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL>(),
    Syntax<[](ExecContext* c, std::u16string_view s, std::u16string_view d, std::u16string_view p, int32_t m) {
      return encoding::UncryptFile(c, s, d, p, m, encoding::kEncodeNone);
    }, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_INT>(),
    Syntax<encoding::UncryptFile, KL_T_BOOL, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT, KL_T_TEXT_CELL, KL_T_INT, KL_T_INT>()};
  // fFiltreImage/fGraphicFilter: () gives the picker filter of the image formats.
inline constexpr KLSyntax kfGraphicFilter[] = {
    Syntax<encoding::GraphicFilter, KL_T_TEXT>()};
  // VérifieExpressionRégulière/MatchRegularExpression: (text, expression),
  // the whole text in RE2's dialect; no RE2 in the Windows build.
inline constexpr KLSyntax kMatchRegularExpression[] = {
#ifdef _WIN32
    Unavailable<KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};
#else
    Syntax<encoding::MatchRegularExpression, KL_T_BOOL, KL_T_TEXT_CELL, KL_T_TEXT_CELL>()};
#endif
  // Compresse/Compress: (buffer) at compresseLZW, (buffer, method); a zlib
  // stream.
inline constexpr KLSyntax kCompress[] = {
    Syntax<[](ExecContext* c, std::span<const uint8_t> b) { return encoding::Compress(c, b, encoding::kCompressLzw); },
           KL_T_BUFFER, KL_T_BUFFER>(),
    Syntax<encoding::Compress, KL_T_BUFFER, KL_T_BUFFER, KL_T_INT>()};
  // Décompresse/Uncompress: (zlib stream).
inline constexpr KLSyntax kUncompress[] = {
    Syntax<encoding::Uncompress, KL_T_BUFFER, KL_T_BUFFER>()};
  // URLEncode/URLEncode
inline constexpr KLSyntax kURLEncode[] = {
    Syntax<encoding::UrlEncode, KL_T_TEXT, KL_T_TEXT_CELL>()};
  // URLDécode/URLDecode
inline constexpr KLSyntax kURLDecode[] = {
    Syntax<encoding::UrlDecode, KL_T_TEXT, KL_T_TEXT_CELL>()};
  // sCalculeCrc32/sComputeCrc32: (buffer), (buffer, running CRC).
inline constexpr KLSyntax ksComputeCrc32[] = {
    Syntax<encoding::ComputeCrc32, KL_T_INT, KL_T_BUFFER>(),
    Syntax<encoding::ComputeCrc32From, KL_T_INT, KL_T_BUFFER, KL_T_INT>()};
  // diffCrée/diffCreate: (original, result) buffers, the same as two file
  // names, or buffers with options (diffBinaire/diffTexte/diffPourcentageMax).
inline constexpr KLSyntax kdiffCreate[] = {
    Syntax<[](ExecContext* c, std::span<const uint8_t> a, std::span<const uint8_t> b) {
      return encoding::DiffCreate(c, a, b, encoding::kDiffBinary);
    }, KL_T_BUFFER, KL_T_BUFFER, KL_T_BUFFER>(),
    Syntax<encoding::DiffCreateFiles, KL_T_BUFFER, KL_T_TEXT_DIRECT, KL_T_TEXT_DIRECT>(),
    Syntax<encoding::DiffCreate, KL_T_BUFFER, KL_T_BUFFER, KL_T_BUFFER, KL_T_INT>()};
  // diffApplique/diffApply: (original, patch) to the result.
inline constexpr KLSyntax kdiffApply[] = {
    Syntax<encoding::DiffApply, KL_T_BUFFER, KL_T_BUFFER, KL_T_BUFFER>()};
  // DonneGUID/GetGUID: (), (with braces).
inline constexpr KLSyntax kGetGUID[] = {
    Syntax<[](ExecContext* c) { return encoding::GetGuid(c, false); }, KL_T_TEXT>(),
    Syntax<encoding::GetGuid, KL_T_TEXT, KL_T_BOOL>()};
  // UUEncode/UUEncode: a buffer to the uuencode body (text).
inline constexpr KLSyntax kUUEncode[] = {
    Syntax<encoding::UUEncode, KL_T_TEXT, KL_T_BUFFER>()};
  // UUDécode/UUDecode: a uuencode body (with or without begin/end) to a buffer.
inline constexpr KLSyntax kUUDecode[] = {
    Syntax<encoding::UUDecode, KL_T_BUFFER, KL_T_TEXT_CELL>()};

}  // namespace kp::syn
