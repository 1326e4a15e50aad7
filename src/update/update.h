// kp160std — the application's update settings and the availability check:
// AppliMAJDisponible, AppliParamètre, AppliChangeParamètre.
//
// The settings of an application live under HKEY_LOCAL_MACHINE in
// "Software\Ostrel\Korvan Mobile\16.0\APPLI\<name>", the name being the
// application file's name without its extension. The reference version is
// the value "VERSION" of the section "[<name>]" of the file "VERSION.KX" at
// the location "UPDATE_URL", fetched over HTTP (platform/http.h).
//
// Thread-safety: no state of its own; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kp160std/abi.h"

namespace kp::update {

// Parameter numbers.
constexpr int32_t kNetwork = 1;           // "UPDATE_HTTP"
constexpr int32_t kProtocol = 2;          // always "HTTP"
constexpr int32_t kServer = 3;            // "UPDATE_URL"
constexpr int32_t kLocalVersion = 10;     // the registry's "VERSION"
constexpr int32_t kReferenceVersion = 11; // the server's "VERSION"

// Availability results.
constexpr int32_t kOptionalUpdate = 1;
constexpr int32_t kMandatoryUpdate = 2;  // never given by the check, on purpose
constexpr int32_t kNoUpdate = 3;

// The application of the syntaxes without one: the running program's file.
std::u16string OwnApplication();

// The registry key of an application file's settings (under HKEY_LOCAL_MACHINE).
std::u16string SettingsKey(std::u16string_view application);

// 0 on error (recorded), else 1 or 3.
int32_t Available(ExecContext* context, std::u16string_view application);
std::u16string Parameter(ExecContext* context, int32_t parameter, std::u16string_view application);
bool ChangeParameter(ExecContext* context, int32_t parameter, std::u16string_view value,
                     std::u16string_view application);

// AppliDéclencheMAJ: after the availability check for the running program,
// starts the updater when an update is there (true with the program's error
// record at level kUpdateLevel, for the VM to act on), answers true when
// there is none, false on error.
constexpr int32_t kUpdateLevel = 0x40000004;
constexpr std::u16string_view kUpdaterName = u"QR160APPLIMOBILE.EXE";
bool InstallUpdate(ExecContext* context);

// The location of "VERSION.KX" for an "UPDATE_URL" value: "http://" is put
// in front of a location without a scheme, "/" between it and the name.
std::string VersionFileUrl(std::u16string_view location);

}  // namespace kp::update
