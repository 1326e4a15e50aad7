// kp160std — last error and system error texts on POSIX.
#include <cerrno>
#include <string>

#include "platform/http.h"
#include "platform/platform.h"
#include "platform/posix/errno_map.h"
#include "platform/win32_errors.h"

namespace kp::platform {
namespace {

thread_local uint32_t tLastError = 0;

struct ErrorText {
  uint32_t code;
  const char16_t* french;
  const char16_t* english;
};

// The texts of every Win32 code in win32_errors.h. 259 is both "still
// active" and "no more items": the system has one text for it.
constexpr ErrorText kTexts[] = {
    {win32::kSuccess, u"L'opération a réussi.", u"The operation completed successfully."},
    {win32::kInvalidFunction, u"Fonction incorrecte.", u"Incorrect function."},
    {win32::kFileNotFound, u"Le fichier spécifié est introuvable.", u"The system cannot find the file specified."},
    {win32::kPathNotFound, u"Le chemin d'accès spécifié est introuvable.", u"The system cannot find the path specified."},
    {win32::kTooManyOpenFiles, u"Le système ne peut pas ouvrir le fichier.", u"The system cannot open the file."},
    {win32::kAccessDenied, u"Accès refusé.", u"Access is denied."},
    {win32::kInvalidHandle, u"Descripteur non valide.", u"The handle is invalid."},
    {win32::kNotEnoughMemory, u"Espace de stockage insuffisant pour traiter cette commande.",
     u"Not enough memory resources are available to process this command."},
    {win32::kOutOfMemory, u"Espace de stockage insuffisant pour traiter cette opération.",
     u"Not enough memory resources are available to complete this operation."},
    {win32::kNotSameDevice, u"Le système ne peut pas déplacer le fichier vers une autre unité de disque.",
     u"The system cannot move the file to a different disk drive."},
    {win32::kNoMoreFiles, u"Il n'y a plus de fichier.", u"There are no more files."},
    {win32::kWriteProtect, u"Le support est protégé en écriture.", u"The media is write protected."},
    {win32::kGenFailure, u"Un périphérique attaché au système ne fonctionne pas correctement.",
     u"A device attached to the system is not functioning."},
    {win32::kSharingViolation,
     u"Le processus ne peut pas accéder au fichier car ce fichier est utilisé par un autre processus.",
     u"The process cannot access the file because it is being used by another process."},
    {win32::kLockViolation,
     u"Le processus ne peut pas accéder au fichier car un autre processus en a verrouillé une partie.",
     u"The process cannot access the file because another process has locked a portion of the file."},
    {win32::kHandleEof, u"Fin de fichier atteinte.", u"Reached the end of the file."},
    {win32::kNotSupported, u"Cette demande n'est pas prise en charge.", u"The request is not supported."},
    {win32::kFileExists, u"Le fichier existe.", u"The file exists."},
    {win32::kInvalidParameter, u"Paramètre incorrect.", u"The parameter is incorrect."},
    {win32::kBrokenPipe, u"Le canal de communication a été fermé.", u"The pipe has been ended."},
    {win32::kDiskFull, u"Espace insuffisant sur le disque.", u"There is not enough space on the disk."},
    {win32::kCallNotImplemented, u"Cette fonction n'est pas prise en charge sur ce système.",
     u"This function is not supported on this system."},
    {win32::kInsufficientBuffer, u"La zone de données passée à un appel système est insuffisante.",
     u"The data area passed to a system call is too small."},
    {win32::kInvalidName, u"La syntaxe du nom de fichier, de répertoire ou de volume est incorrecte.",
     u"The filename, directory name, or volume label syntax is incorrect."},
    {win32::kNegativeSeek,
     u"Tentative de positionnement du pointeur de fichier avant le début du fichier.",
     u"An attempt was made to move the file pointer before the beginning of the file."},
    {win32::kDirNotEmpty, u"Le répertoire n'est pas vide.", u"The directory is not empty."},
    {win32::kBadPathname, u"Le chemin d'accès spécifié n'est pas valide.", u"The specified path is invalid."},
    {win32::kLockFailed, u"Impossible de verrouiller une zone d'un fichier.", u"Unable to lock a region of a file."},
    {win32::kAlreadyExists, u"Impossible de créer un fichier déjà existant.",
     u"Cannot create a file when that file already exists."},
    {win32::kBadExeFormat, u"Ce fichier n'est pas une application valide.", u"This file is not a valid application."},
    {win32::kEnvVarNotFound, u"Le système n'a pas trouvé l'option d'environnement spécifiée.",
     u"The system could not find the environment option that was entered."},
    {win32::kFilenameExcedRange, u"Le nom du fichier ou l'extension est trop long.",
     u"The filename or extension is too long."},
    {win32::kFileTooLarge, u"Le fichier est trop volumineux pour cette opération.",
     u"The file size exceeds the limit allowed and cannot be saved."},
    {win32::kMoreData, u"D'autres données sont disponibles.", u"More data is available."},
    {win32::kNoMoreItems, u"Il n'y a plus de données.", u"No more data is available."},
    {win32::kDirectory, u"Nom de répertoire non valide.", u"The directory name is invalid."},
    {win32::kIoPending, u"Opération d'entrée/sortie avec chevauchement en cours d'exécution.",
     u"Overlapped I/O operation is in progress."},
    {win32::kInvalidFlags, u"Indicateurs non valides.", u"Invalid flags."},
    {win32::kNoToken, u"Une tentative de référencement d'un jeton qui n'existe pas a été effectuée.",
     u"An attempt was made to reference a token that does not exist."},
    {win32::kBadKey, u"La clé de Registre de configuration n'est pas valide.",
     u"The configuration registry key is invalid."},
    {win32::kCantOpenKey, u"Impossible d'ouvrir la clé de Registre de configuration.",
     u"The configuration registry key could not be opened."},
    {win32::kCantRead, u"Impossible de lire la clé de Registre de configuration.",
     u"The configuration registry key could not be read."},
    {win32::kCantWrite, u"Impossible d'écrire la clé de Registre de configuration.",
     u"The configuration registry key could not be written."},
    {win32::kKeyDeleted, u"Tentative d'opération non conforme sur une clé de Registre marquée pour suppression.",
     u"Illegal operation attempted on a registry key that has been marked for deletion."},
    {win32::kNoUnicodeTranslation,
     u"Le mappage pour le caractère Unicode n'existe pas dans la page de codes multi-octets cible.",
     u"No mapping for the Unicode character exists in the target multi-byte code page."},
    {win32::kIoDevice, u"Impossible d'exécuter la requête en raison d'une erreur de périphérique d'E/S.",
     u"The request could not be performed because of an I/O device error."},
    {win32::kPrivilegeNotHeld, u"Le client ne dispose pas d'un privilège nécessaire.",
     u"A required privilege is not held by the client."},
    {win32::kInvalidWindowHandle, u"Handle de fenêtre non valide.", u"Invalid window handle."},
    {win32::kTimeout, u"Cette opération a expiré.", u"This operation returned because the timeout period expired."},
    // The HTTP transfer's numbers (platform/http.h), as WinHTTP words them.
    {http::kErrTimeout, u"Le délai d'attente de l'opération est dépassé.", u"The operation timed out."},
    {http::kErrInvalidUrl, u"L'URL n'est pas valide.", u"The URL is invalid."},
    {http::kErrUnrecognizedScheme, u"Le schéma de l'URL n'a pas pu être reconnu ou n'est pas pris en charge.",
     u"The URL scheme could not be recognized, or is not supported."},
    {http::kErrNameNotResolved, u"Le nom ou l'adresse du serveur n'a pas pu être résolu.",
     u"The server name or address could not be resolved."},
    {http::kErrCannotConnect, u"Impossible d'établir une connexion avec le serveur.",
     u"A connection with the server could not be established."},
    {http::kErrConnectionError, u"La connexion avec le serveur a été interrompue anormalement.",
     u"The connection with the server was terminated abnormally."},
    {http::kErrInvalidServerResponse, u"Le serveur a renvoyé une réponse non valide ou non reconnue.",
     u"The server returned an invalid or unrecognized response."},
    {http::kErrRedirectFailed, u"La redirection a échoué.", u"The redirection failed."},
    {http::kErrSecureFailure, u"Une erreur de sécurité s'est produite.", u"A security error occurred."},
};

}  // namespace

uint32_t Win32FromErrno(int error) {
  switch (error) {
    case 0: return win32::kSuccess;
    case ENOENT: return win32::kFileNotFound;
    case ENOTDIR:
    case ELOOP: return win32::kPathNotFound;
    case EACCES:
    case EPERM:
    case EISDIR: return win32::kAccessDenied;
    case EEXIST: return win32::kAlreadyExists;
    case ENOTEMPTY: return win32::kDirNotEmpty;
    case ENOMEM: return win32::kNotEnoughMemory;
    case ENAMETOOLONG: return win32::kFilenameExcedRange;
    case ENOSPC:
    case EDQUOT: return win32::kDiskFull;
    case EFBIG: return win32::kFileTooLarge;
    case EROFS: return win32::kWriteProtect;
    case EMFILE:
    case ENFILE: return win32::kTooManyOpenFiles;
    case EBADF: return win32::kInvalidHandle;
    case EINVAL:
    case ESPIPE:
    case ESRCH:  // no such process: OpenProcess's answer for an identifier nobody has
    case E2BIG: return win32::kInvalidParameter;
    case ENOEXEC: return win32::kBadExeFormat;
    case EBUSY:
    case ETXTBSY: return win32::kSharingViolation;
    case EAGAIN: return win32::kLockViolation;
    case EXDEV: return win32::kNotSameDevice;
    case EPIPE: return win32::kBrokenPipe;
    case EIO: return win32::kIoDevice;
    case ENOSYS: return win32::kCallNotImplemented;
    case ENOTSUP: return win32::kNotSupported;
    case ETIMEDOUT: return win32::kTimeout;
    case EILSEQ: return win32::kNoUnicodeTranslation;
    default: return win32::kGenFailure;
  }
}

uint32_t LastError() { return tLastError; }
void SetLastError(uint32_t code) { tLastError = code; }

std::u16string SystemErrorText(uint32_t code, int32_t languageCode) {
  for (const auto& t : kTexts)
    if (t.code == code) return languageCode == 12 ? t.french : t.english;
  return {};
}

}  // namespace kp::platform
