// kp160std — HTTP GET through WinHTTP. A session is opened per request and
// closed after it, so no connection outlives the call (and none idle longer
// than the seam's 5000 ms is reused).
#include "platform/win32/windows_api.h"
#include <winhttp.h>

#include <cstdlib>
#include <mutex>
#include <string>

#include "platform/http.h"
#include "platform/platform.h"

namespace kp::platform::http {

namespace {

std::mutex gMutex;  // serialises requests, as the POSIX backend does

struct Internet {
  HINTERNET h = nullptr;
  ~Internet() {
    if (h) WinHttpCloseHandle(h);
  }
};

int TimeoutMs() {
  const char* v = std::getenv("KP_HTTP_TIMEOUT_MS");
  const int n = v ? std::atoi(v) : 0;
  return n > 0 ? n : 15000;
}

uint32_t Fail(uint32_t code) {
  SetLastError(code);
  return code;
}

}  // namespace

uint32_t Get(std::string_view url, int* status, std::string* body) {
  std::lock_guard lock(gMutex);
  *status = 0;
  body->clear();
  std::wstring wide(url.begin(), url.end());
  URL_COMPONENTS parts{};
  parts.dwStructSize = sizeof parts;
  wchar_t host[256] = {}, path[2048] = {};
  parts.lpszHostName = host;
  parts.dwHostNameLength = 256;
  parts.lpszUrlPath = path;
  parts.dwUrlPathLength = 2048;
  parts.dwSchemeLength = 1;
  if (!WinHttpCrackUrl(wide.c_str(), 0, 0, &parts)) return Fail(kErrInvalidUrl);
  if (parts.nScheme != INTERNET_SCHEME_HTTP && parts.nScheme != INTERNET_SCHEME_HTTPS)
    return Fail(kErrUnrecognizedScheme);
  Internet session{WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, WINHTTP_NO_PROXY_NAME,
                               WINHTTP_NO_PROXY_BYPASS, 0)};
  if (!session.h) return Fail(GetLastError());
  const int limit = TimeoutMs();
  WinHttpSetTimeouts(session.h, limit, limit, limit, limit);
  Internet connection{WinHttpConnect(session.h, host, parts.nPort, 0)};
  if (!connection.h) return Fail(GetLastError());
  const wchar_t* accept[] = {L"*/*", nullptr};
  Internet request{WinHttpOpenRequest(connection.h, L"GET", path[0] ? path : L"/", nullptr, WINHTTP_NO_REFERER,
                                      accept, parts.nScheme == INTERNET_SCHEME_HTTPS ? WINHTTP_FLAG_SECURE : 0)};
  if (!request.h) return Fail(GetLastError());
  if (!WinHttpSendRequest(request.h, WINHTTP_NO_ADDITIONAL_HEADERS, 0, WINHTTP_NO_REQUEST_DATA, 0, 0, 0) ||
      !WinHttpReceiveResponse(request.h, nullptr))
    return Fail(GetLastError());
  DWORD code = 0, size = sizeof code;
  WinHttpQueryHeaders(request.h, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER, WINHTTP_HEADER_NAME_BY_INDEX,
                      &code, &size, WINHTTP_NO_HEADER_INDEX);
  for (;;) {
    DWORD available = 0;
    if (!WinHttpQueryDataAvailable(request.h, &available)) return Fail(GetLastError());
    if (available == 0) break;
    if (body->size() + available > kMaxBody) {
      body->clear();
      return Fail(kErrInvalidServerResponse);
    }
    const size_t at = body->size();
    body->resize(at + available);
    DWORD read = 0;
    if (!WinHttpReadData(request.h, body->data() + at, available, &read)) return Fail(GetLastError());
    body->resize(at + read);
  }
  *status = static_cast<int>(code);
  return 0;
}

}  // namespace kp::platform::http
