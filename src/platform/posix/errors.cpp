// kp160std — last error and system error texts on POSIX.
#include <array>
#include <string>
#include <utility>

#include "platform/platform.h"
#include "platform/win32_errors.h"

namespace kp::platform {
namespace {

thread_local uint32_t tLastError = 0;

struct ErrorText {
  uint32_t code;
  const char16_t* french;
  const char16_t* english;
};

// The texts of every Win32 code this backend produces.
constexpr ErrorText kTexts[] = {
    {win32::kSuccess, u"L'opération a réussi.", u"The operation completed successfully."},
    {win32::kInvalidFunction, u"Fonction incorrecte.", u"Incorrect function."},
    {win32::kFileNotFound, u"Le fichier spécifié est introuvable.", u"The system cannot find the file specified."},
    {win32::kPathNotFound, u"Le chemin d'accès spécifié est introuvable.", u"The system cannot find the path specified."},
    {win32::kAccessDenied, u"Accès refusé.", u"Access is denied."},
    {win32::kInvalidHandle, u"Descripteur non valide.", u"The handle is invalid."},
    {win32::kNotEnoughMemory, u"Espace de stockage insuffisant pour traiter cette commande.",
     u"Not enough memory resources are available to process this command."},
    {win32::kOutOfMemory, u"Espace de stockage insuffisant pour traiter cette opération.",
     u"Not enough memory resources are available to complete this operation."},
    {win32::kNoMoreFiles, u"Il n'y a plus de fichier.", u"There are no more files."},
    {win32::kInvalidParameter, u"Paramètre incorrect.", u"The parameter is incorrect."},
    {win32::kCallNotImplemented, u"Cette fonction n'est pas prise en charge sur ce système.",
     u"This function is not supported on this system."},
    {win32::kPrivilegeNotHeld, u"Le client ne dispose pas d'un privilège nécessaire.",
     u"A required privilege is not held by the client."},
};

}  // namespace

uint32_t LastError() { return tLastError; }
void SetLastError(uint32_t code) { tLastError = code; }

std::u16string SystemErrorText(uint32_t code, int32_t languageCode) {
  for (const auto& t : kTexts)
    if (t.code == code) return languageCode == 12 ? t.french : t.english;
  return {};
}

}  // namespace kp::platform
