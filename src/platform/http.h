// kp160std — HTTP GET behind the seam: libcurl on POSIX, WinHTTP on Windows.
//
// One request form on the wire for an http:// location:
//   "GET <path> HTTP/1.1\r\nHost: <host>\r\nAccept: */*\r\n\r\n"
// (the host carries its port when it is not the scheme's default). https://
// locations work as well. A kept connection idle for more than 5000 ms is not
// reused. Redirects (at most 5), chunked and Content-Length bodies are
// followed. Every request ends within its time limit, so a dead server never
// holds the caller.
//
// Settings (environment): KP_HTTP_TIMEOUT_MS, the whole request's limit
// (default 15000, connection included); KP_HTTP_CA_FILE, a PEM file of
// certificates to trust for https:// besides the system's.
//
// Thread-safety: any thread; requests from several threads are serialised.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kp::platform::http {

// Win32 (WinHTTP) numbers for what can go wrong.
constexpr uint32_t kErrTimeout = 12002;
constexpr uint32_t kErrInvalidUrl = 12005;
constexpr uint32_t kErrUnrecognizedScheme = 12006;
constexpr uint32_t kErrNameNotResolved = 12007;
constexpr uint32_t kErrCannotConnect = 12029;
constexpr uint32_t kErrConnectionError = 12030;
constexpr uint32_t kErrInvalidServerResponse = 12152;
constexpr uint32_t kErrRedirectFailed = 12156;
constexpr uint32_t kErrSecureFailure = 12175;

// Bodies above this size are refused (kErrInvalidServerResponse): what the
// library reads over HTTP is a few lines.
constexpr size_t kMaxBody = 1 << 20;

// GET `url`. Returns 0 with the final status and the body, or a Win32 error
// (also set as the thread's last error) when no complete response came.
uint32_t Get(std::string_view url, int* status, std::string* body);

}  // namespace kp::platform::http
