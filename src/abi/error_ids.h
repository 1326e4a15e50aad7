// kp160std — a name for every error identifier of gstErrorDef.
//
// One X-macro list per family; KP_ERROR_IDS joins them. Each entry is
// X(name, identifier). The names become `constexpr int32_t` constants in
// namespace kp, and kNamedErrorIds holds them all so that a check can walk
// them (tests/component/error_ids_test.cpp proves that the names and the
// table's rows are the same set, and that every text exists in both
// languages).
//
// An identifier's meaning is its message text (message_texts.h, number in
// the table's second column); a name says that meaning in a few words. The
// numbers never change: programs test for them. Entries marked "reserved"
// have a text of their own but no function of this version raises them; the
// last group shares the one "reserved" text.
//
// To add an identifier: an entry here, a row in error_table.cpp, its texts in
// message_texts.h; the test fails until all three agree.
//
// Thread-safety: constants only.
#pragma once

#include <cstdint>

// The error record and the call frame: errors of the runtime itself, not of
// a family. 80001 and 80002 carry no text at all; raising kErrSuccess
// clears the record.
#define KP_ERROR_IDS_RUNTIME(X)                         \
  X(kErrNoText1, 80001)                                 \
  X(kErrNoText2, 80002)                                 \
  X(kErrInternal, 80003)                                \
  X(kErrWrongParameterCount, 80004)      /* reserved */ \
  X(kErrParameterTypeUnsupported, 80005) /* reserved */ \
  X(kErrParameterRequired, 80006)        /* reserved */ \
  X(kErrResultNotHandedToVm, 80007)      /* reserved */ \
  X(kErrStringServiceMissing, 80008)     /* reserved */ \
  X(kErrAnsiUnicodeConversion, 80009)    /* reserved */ \
  X(kErrValueOutOfRange, 80010)                        \
  X(kErrUnexpectedVariantType, 80011)    /* reserved */ \
  X(kErrProcedureNotFound, 80012)        /* reserved */ \
  X(kErrProcedureCallFailed, 80013)      /* reserved */ \
  X(kErrNotAvailableOnPlatform, 80014)                  \
  X(kErrCalledBeforeStart, 80015)     /* reserved */    \
  X(kErrHookModuleNotLoaded, 80016)   /* reserved */    \
  X(kErrSystemFunctionMissing, 80017) /* reserved */    \
  X(kErrSystemLibraryNotFound, 80018) /* reserved */    \
  X(kErrBufferTooSmall, 80019)                         \
  X(kErrProgramStopping, 80020)       /* reserved */    \
  X(kErrSuccess, 80160)                                 \
  X(kErrInterruptedByUser, 81830)

// Files: handles and their I/O, names and paths, directories, copies, text
// files, and the memory areas the buffer functions read and write.
#define KP_ERROR_IDS_FILES(X)                           \
  X(kErrOpenFileTableFull, 80021)                       \
  X(kErrBadFileHandle, 80022)                           \
  X(kErrBadSeekOrigin, 80023)                           \
  X(kErrFileOpenForReadingOnly, 80024) /* reserved */   \
  X(kErrFileOpenForWritingOnly, 80025) /* reserved */   \
  X(kErrBadOpenMode, 80026)            /* reserved */   \
  X(kErrFileExists, 80027)             /* reserved */   \
  X(kErrFileInUse, 80028)              /* reserved */   \
  X(kErrEndOfFile, 80029)              /* reserved */   \
  X(kErrPositionOutsideFile, 80030)    /* reserved */   \
  X(kErrNegativeByteCount, 80031)      /* reserved */   \
  X(kErrCannotCloseFile, 80032)        /* reserved */   \
  X(kErrCannotCreateFile, 80033)       /* reserved */   \
  X(kErrCannotOpenFile, 80034)         /* reserved */   \
  X(kErrCannotReadFile, 80035)         /* reserved */   \
  X(kErrCannotWriteFile, 80036)        /* reserved */   \
  X(kErrCannotDeleteFile, 80037)       /* reserved */   \
  X(kErrCannotRenameFile, 80038)       /* reserved */   \
  X(kErrCannotSetAttributes, 80039)    /* reserved */   \
  X(kErrCannotGetAttributes, 80040)    /* reserved */   \
  X(kErrNoMemoryForFile, 80041)                         \
  X(kErrUnknownPathPart, 80042)                         \
  X(kErrForbiddenNameCharacters, 80043) /* reserved */  \
  X(kErrDriveNotReady, 80044)           /* reserved */  \
  X(kErrWriteProtected, 80045)          /* reserved */  \
  X(kErrDiskFull, 80046)                /* reserved */  \
  X(kErrCannotCreateDirectory, 80047)   /* reserved */  \
  X(kErrDirectoryNotEmpty, 80048)       /* reserved */  \
  X(kErrCannotReadDirectory, 80049)     /* reserved */  \
  X(kErrCannotSetFileTime, 80050)       /* reserved */  \
  X(kErrCannotGetFileTime, 80052)       /* reserved */  \
  X(kErrDirAttributesUnsupported, 80053)                \
  X(kErrDirNoSearchInProgress, 80054)                   \
  X(kErrCannotCreateTempFile, 80055)  /* reserved */    \
  X(kErrTempDirectoryNotFound, 80056) /* reserved */    \
  X(kErrFileTooLargeForMemory, 80057) /* reserved */    \
  X(kErrPathTooLong, 80058)                             \
  X(kErrEmptyName, 80059)                               \
  X(kErrSameSourceAndDestination, 80060) /* reserved */ \
  X(kErrCannotMoveFile, 80061)           /* reserved */ \
  X(kErrDirectoryNotFound, 80062)                       \
  X(kErrCannotRemoveDirectory, 80063)                   \
  X(kErrCannotRenameDirectory, 80064) /* reserved */    \
  X(kErrCopyFailed, 80065)                              \
  X(kErrWildcardInCopyDestination, 80066)               \
  X(kErrFileNotFound, 80067)                            \
  X(kErrNotUnicodeTextFile, 80068) /* reserved */       \
  X(kErrLineTooLong, 80069)        /* reserved */       \
  X(kErrCannotLoadFile, 80070)     /* reserved */       \
  X(kErrCannotSaveFile, 80071)     /* reserved */       \
  X(kErrFileLocked, 80095)         /* reserved */       \
  X(kErrRemoveDirBadOption, 80404)                      \
  X(kErrChangeSizeNeedsDiskFile, 80406)                 \
  X(kErrPathNotAbsolute, 80600)                         \
  X(kErrDirSizePathTooLong, 81506)                      \
  X(kErrPathTooLongWhileWalking, 81512)                 \
  X(kErrMemoryAreaNotAccessible, 81812)

// Data and texts: encryption, compression, encodings, expressions, GUIDs,
// and the pickers that choose a file or a directory.
#define KP_ERROR_IDS_DATA(X)                         \
  X(kErrCannotEncryptFile, 80072)                   \
  X(kErrCannotDecryptFile, 80073)                   \
  X(kErrEmptyPassword, 80074)                       \
  X(kErrUnknownEncryptionMode, 80075)               \
  X(kErrEncryptedDataDamaged, 80076)                \
  X(kErrCannotCompress, 80077)        /* reserved */ \
  X(kErrCompressedDataDamaged, 80078)               \
  X(kErrNotUuEncoded, 80079)                        \
  X(kErrBadRegularExpression, 80081)                \
  X(kErrFileDifferenceFailed, 80082)                \
  X(kErrCannotGenerateGuid, 80085)    /* reserved */ \
  X(kErrFilePickerFailed, 80088)      /* reserved */ \
  X(kErrDirectoryPickerFailed, 80089) /* reserved */

// Dates and times: conversions, the date and time rules, differences, masks
// and the clock.
#define KP_ERROR_IDS_DATETIME(X)               \
  X(kErrUtcConversion, 80051)                  \
  X(kErrNegativeTime, 80120)                   \
  X(kErrDateLength, 80121)                     \
  X(kErrDateNotDigits, 80122)                  \
  X(kErrYearZero, 80123)                       \
  X(kErrGregorianGap, 80124)                   \
  X(kErrMonthOutOfRange, 80125)                \
  X(kErrDayOutOfRange, 80126)                  \
  X(kErrNotLeapYear, 80127)                    \
  X(kErrTimeNotDigits, 80128)                  \
  X(kErrSecondsOutOfRange, 80129)              \
  X(kErrMinutesOutOfRange, 80130)              \
  X(kErrHoursOutOfRange, 80131)                \
  X(kErrIntegerNotDate, 80132)                 \
  X(kErrBadBirthDate, 80133)                   \
  X(kErrDifferenceBadDate, 80134)              \
  X(kErrDifferenceBadTime, 80135)              \
  X(kErrBadDateTimeMask, 80136) /* reserved */ \
  X(kErrMaskMismatch, 80137)    /* reserved */ \
  X(kErrCannotSetClock, 80138)  /* reserved */

// Processes: listing, starting and waiting for them.
#define KP_ERROR_IDS_PROCESSES(X)                    \
  X(kErrProcessListUnavailable, 80100)               \
  X(kErrCannotOpenProcess, 80101)                    \
  X(kErrExecutableNotFound, 80102)                   \
  X(kErrNotExecutable, 80103)                        \
  X(kErrExecutableAccessDenied, 80104)               \
  X(kErrNoAssociation, 80105)                        \
  X(kErrDdeFailed, 80106)                            \
  X(kErrNoMemoryToStart, 80107)                      \
  X(kErrStartSharingViolation, 80108)                \
  X(kErrProcessWaitTimedOut, 80109) /* reserved */   \
  X(kErrUnknownIdentifierKind, 80110)                \
  X(kErrBadProcessPriority, 80111)    /* reserved */ \
  X(kErrModuleListUnavailable, 80112) /* reserved */ \
  X(kErrNoProcessNamed, 80114)        /* reserved */ \
  X(kErrCannotGetExitCode, 80115)     /* reserved */ \
  X(kErrCommandLineTooLong, 80117)    /* reserved */ \
  X(kErrCannotStartProgram, 80400)

// The system and the device: windows, power, telephony, keys, clipboard,
// notification icon, shortcuts.
#define KP_ERROR_IDS_SYSTEM(X)                            \
  X(kErrNotAWindow, 80140)                                \
  X(kErrUnknownSystemMetric, 80143)                       \
  X(kErrUnknownWindowsVersionKind, 80144)                 \
  X(kErrSysSpaceValueUnsupported, 80145)                  \
  X(kErrNotifyProcedureMissing, 80146)                    \
  X(kErrScreenOrientationFailed, 80147)                   \
  X(kErrShutdownRefused, 80149)                           \
  X(kErrSerialNumberUnavailable, 80151)                   \
  X(kErrImeiUnavailable, 80152)            /* reserved */ \
  X(kErrTelephonyInitFailed, 80153)        /* reserved */ \
  X(kErrStorageCardNotFound, 80154)        /* reserved */ \
  X(kErrUnknownKey, 80161)                 /* reserved */ \
  X(kErrUnclosedKeyBrace, 80162)           /* reserved */ \
  X(kErrCannotInstallNotifyIcon, 80166)    /* reserved */ \
  X(kErrCannotOpenClipboard, 80170)                       \
  X(kErrClipboardHasNoText, 80171)         /* reserved */ \
  X(kErrClipboardFormatUnsupported, 80173)                \
  X(kErrCannotCreateShortcut, 80231)                      \
  X(kErrKeyboardEmulationDisabled, 81504)

// Numbers: colours, number texts, currencies, random draws.
#define KP_ERROR_IDS_NUMBERS(X)                        \
  X(kErrColourComponentRange, 80200) /* reserved */    \
  X(kErrBadHue, 80202)                                 \
  X(kErrBadLightness, 80203)                           \
  X(kErrBadSaturation, 80204)                          \
  X(kErrBadNumber, 80205)               /* reserved */ \
  X(kErrUnknownCurrency, 80207)                        \
  X(kErrExchangeRateNotPositive, 80208)                \
  X(kErrBoundsReversed, 80210)                         \
  X(kErrRandomBelowOne, 80260)

// Number texts and formats (Min/Max, EstNumérique, NumériqueVersChaîne,
// TailleVersChaîne).
#define KP_ERROR_IDS_NUMBER_TEXT(X) \
  X(kErrNotNumericText, 80240)     \
  X(kErrBadNumberMask, 80241)      \
  X(kErrNumberNotFinite, 80242)    \
  X(kErrNegativeSize, 80243)       \
  X(kErrNotANumberValue, 80244)
// The euro family and the table export.
#define KP_ERROR_IDS_EURO_TABLES(X)     \
  X(kErrCurrencyAmountOutOfRange, 80220) \
  X(kErrExchangeRateOutOfRange, 80221)   \
  X(kErrEuroRateIsFixed, 80222)          \
  X(kErrUnknownCurrencyNameForm, 80223)  \
  X(kErrNoTableService, 80224)           \
  X(kErrUnknownTable, 80225)             \
  X(kErrBadColumnList, 80226)            \
  X(kErrBadTableOptions, 80227)          \
  X(kErrTableTextTooLong, 80228)

// The registry, INI files and saved parameters. The three warnings go to the
// trace, not to the program (severity 65538).
#define KP_ERROR_IDS_REGISTRY(X)                        \
  X(kErrUnknownRegistryRoot, 80290) /* reserved */      \
  X(kErrRegistryCannotCreate, 80291)                    \
  X(kErrRegistryEmptyKeyPath, 80292)                    \
  X(kErrRegistryCannotWrite, 80293)                     \
  X(kErrRegistryUnknownValueType, 80295)                \
  X(kErrRegistryCannotDeleteKey, 80297) /* reserved */  \
  X(kErrCannotReadIni, 80500)           /* reserved */  \
  X(kErrCannotWriteIni, 80501)          /* reserved */  \
  X(kErrUnknownParameterMode, 80700)                    \
  X(kErrParametersNotInitialised, 80701) /* reserved */ \
  X(kErrDeleteEmptyParameterName, 80800)                \
  X(kErrCannotDeleteParameter, 80801) /* reserved */    \
  X(kErrWarning, 81700)                                 \
  X(kErrWarningSlowOpen, 81701)                         \
  X(kErrWarningLargeIni, 81702)

// Shared memory.
#define KP_ERROR_IDS_SHARED_MEMORY(X)                   \
  X(kErrCannotMapSharedMemory, 81502)    /* reserved */ \
  X(kErrSharedMemoryWaitTimedOut, 81505) /* reserved */ \
  X(kErrBadSharedMemoryName, 81507)                     \
  X(kErrCannotOpenSharedMemory, 81508)                  \
  X(kErrNeedsSharedMemory, 81509)                       \
  X(kErrTooManySharedMemoryNotifications, 81510)        \
  X(kErrSharedMemoryNotFound, 81515) /* reserved */

// Projects and the application's updates.
#define KP_ERROR_IDS_PROJECT(X)                     \
  X(kErrNotProjectFile, 81200) /* reserved */       \
  X(kErrUpdateSettingsNotFound, 81630)              \
  X(kErrUnknownUpdateSetting, 81631)                \
  X(kErrUpdateSettingReadOnly, 81632)               \
  X(kErrCannotReadUpdateSettings, 81633)            \
  X(kErrCannotWriteUpdateSettings, 81634)           \
  X(kErrUpdateServerNoAnswer, 81635) /* reserved */ \
  X(kErrUpdaterNotFound, 81637)      /* reserved */

// Zip archives (the _zip..._old functions): the archive table, the archive
// files, their entries, extraction safety and multi-part archives.
#define KP_ERROR_IDS_ARCHIVE(X)          \
  X(kErrZipNotOpen, 81900)               \
  X(kErrZipAlreadyOpen, 81901)           \
  X(kErrZipBadArchiveName, 81902)        \
  X(kErrZipCannotOpen, 81903)            \
  X(kErrZipNotAnArchive, 81904)          \
  X(kErrZipEntryNotFound, 81905)         \
  X(kErrZipBadIndex, 81906)              \
  X(kErrZipCannotAdd, 81907)             \
  X(kErrZipCannotWrite, 81908)           \
  X(kErrZipCannotExtract, 81909)         \
  X(kErrZipUnsafeEntry, 81910)           \
  X(kErrZipLimitExceeded, 81911)         \
  X(kErrZipBadEntryName, 81912)          \
  X(kErrZipBadPartSize, 81913)           \
  X(kErrZipPartMissing, 81914)           \
  X(kErrZipPassword, 81915)              \
  X(kErrZipCannotReadEntry, 81916)

// Reserved identifiers that share the one "reserved" text: they mean nothing
// yet, so their number is their name.
#define KP_ERROR_IDS_RESERVED(X) \
  X(kErrReserved80080, 80080)    \
  X(kErrReserved80083, 80083)    \
  X(kErrReserved80084, 80084)    \
  X(kErrReserved80086, 80086)    \
  X(kErrReserved80087, 80087)    \
  X(kErrReserved80090, 80090)    \
  X(kErrReserved80091, 80091)    \
  X(kErrReserved80092, 80092)    \
  X(kErrReserved80093, 80093)    \
  X(kErrReserved80094, 80094)    \
  X(kErrReserved80096, 80096)    \
  X(kErrReserved80097, 80097)    \
  X(kErrReserved80098, 80098)    \
  X(kErrReserved80099, 80099)    \
  X(kErrReserved80113, 80113)    \
  X(kErrReserved80116, 80116)    \
  X(kErrReserved80118, 80118)    \
  X(kErrReserved80119, 80119)    \
  X(kErrReserved80139, 80139)    \
  X(kErrReserved80141, 80141)    \
  X(kErrReserved80142, 80142)    \
  X(kErrReserved80148, 80148)    \
  X(kErrReserved80150, 80150)    \
  X(kErrReserved80155, 80155)    \
  X(kErrReserved80156, 80156)    \
  X(kErrReserved80157, 80157)    \
  X(kErrReserved80158, 80158)    \
  X(kErrReserved80159, 80159)    \
  X(kErrReserved80163, 80163)    \
  X(kErrReserved80164, 80164)    \
  X(kErrReserved80165, 80165)    \
  X(kErrReserved80167, 80167)    \
  X(kErrReserved80168, 80168)    \
  X(kErrReserved80169, 80169)    \
  X(kErrReserved80172, 80172)    \
  X(kErrReserved80174, 80174)    \
  X(kErrReserved80175, 80175)    \
  X(kErrReserved80176, 80176)    \
  X(kErrReserved80177, 80177)    \
  X(kErrReserved80178, 80178)    \
  X(kErrReserved80179, 80179)    \
  X(kErrReserved80201, 80201)    \
  X(kErrReserved80206, 80206)    \
  X(kErrReserved80209, 80209)    \
  X(kErrReserved80211, 80211)    \
  X(kErrReserved80212, 80212)    \
  X(kErrReserved80213, 80213)    \
  X(kErrReserved80214, 80214)    \
  X(kErrReserved80215, 80215)    \
  X(kErrReserved80216, 80216)    \
  X(kErrReserved80217, 80217)    \
  X(kErrReserved80218, 80218)    \
  X(kErrReserved80219, 80219)    \
  X(kErrReserved80294, 80294)    \
  X(kErrReserved80296, 80296)    \
  X(kErrReserved80298, 80298)    \
  X(kErrReserved80299, 80299)    \
  X(kErrReserved80502, 80502)    \
  X(kErrReserved80503, 80503)    \
  X(kErrReserved80504, 80504)    \
  X(kErrReserved80505, 80505)    \
  X(kErrReserved80702, 80702)    \
  X(kErrReserved80703, 80703)    \
  X(kErrReserved80704, 80704)    \
  X(kErrReserved80705, 80705)    \
  X(kErrReserved80802, 80802)    \
  X(kErrReserved80803, 80803)    \
  X(kErrReserved81201, 81201)    \
  X(kErrReserved81202, 81202)    \
  X(kErrReserved81203, 81203)    \
  X(kErrReserved81204, 81204)    \
  X(kErrReserved81205, 81205)    \
  X(kErrReserved81206, 81206)    \
  X(kErrReserved81500, 81500)    \
  X(kErrReserved81501, 81501)    \
  X(kErrReserved81503, 81503)    \
  X(kErrReserved81511, 81511)    \
  X(kErrReserved81513, 81513)    \
  X(kErrReserved81514, 81514)    \
  X(kErrReserved81636, 81636)    \
  X(kErrReserved81638, 81638)    \
  X(kErrReserved81639, 81639)    \
  X(kErrReserved81640, 81640)    \
  X(kErrReserved81641, 81641)

#define KP_ERROR_IDS(X)         \
  KP_ERROR_IDS_RUNTIME(X)       \
  KP_ERROR_IDS_FILES(X)         \
  KP_ERROR_IDS_DATA(X)          \
  KP_ERROR_IDS_DATETIME(X)      \
  KP_ERROR_IDS_PROCESSES(X)     \
  KP_ERROR_IDS_SYSTEM(X)        \
  KP_ERROR_IDS_NUMBERS(X)       \
  KP_ERROR_IDS_NUMBER_TEXT(X)   \
  KP_ERROR_IDS_EURO_TABLES(X)   \
  KP_ERROR_IDS_REGISTRY(X)      \
  KP_ERROR_IDS_SHARED_MEMORY(X) \
  KP_ERROR_IDS_PROJECT(X)       \
  KP_ERROR_IDS_ARCHIVE(X)       \
  KP_ERROR_IDS_RESERVED(X)

namespace kp {

#define KP_ERROR_ID_CONSTANT(name, id) inline constexpr int32_t name = id;
KP_ERROR_IDS(KP_ERROR_ID_CONSTANT)
#undef KP_ERROR_ID_CONSTANT

struct NamedErrorId {
  int32_t id;
  const char* name;
};

// Every named identifier, in the order of the lists above.
#define KP_ERROR_ID_ENTRY(name, id) NamedErrorId{name, #name},
inline constexpr NamedErrorId kNamedErrorIds[] = {KP_ERROR_IDS(KP_ERROR_ID_ENTRY)};
#undef KP_ERROR_ID_ENTRY

}  // namespace kp
