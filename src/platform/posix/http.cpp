// kp160std — HTTP GET through libcurl. One easy handle is kept, so its
// connection cache lets a second request reuse the connection, but never one
// idle for more than 5 s (CURLOPT_MAXAGE_CONN).
#include "platform/http.h"

#include <curl/curl.h>

#include <cstdlib>
#include <mutex>
#include <string>

#include "platform/platform.h"

namespace kp::platform::http {

namespace {

// Released when the library is unloaded, with its kept connections.
struct Handle {
  CURL* curl = nullptr;
  // The settings its options were last set with: while they stay the same,
  // a request sets only its own location and sink.
  long timeoutMs = 0;
  std::string caFile;
  ~Handle() {
    if (!curl) return;
    curl_easy_cleanup(curl);
    curl_global_cleanup();
  }
};

std::mutex gMutex;  // guards gHandle and every request made with it
Handle gHandle;

struct Sink {
  std::string* body;
  bool tooBig = false;
};

size_t Write(char* data, size_t size, size_t count, void* user) {
  auto* sink = static_cast<Sink*>(user);
  const size_t n = size * count;
  if (sink->body->size() + n > kMaxBody) {
    sink->tooBig = true;
    return 0;  // stops the transfer
  }
  sink->body->append(data, n);
  return n;
}

long SettingMs(const char* name, long fallback) {
  const char* v = std::getenv(name);
  if (!v || !*v) return fallback;
  char* end = nullptr;
  const long n = std::strtol(v, &end, 10);
  return (*end == 0 && n > 0) ? n : fallback;
}

uint32_t FromCurl(CURLcode rc) {
  switch (rc) {
    case CURLE_OPERATION_TIMEDOUT: return kErrTimeout;
    case CURLE_URL_MALFORMAT: return kErrInvalidUrl;
    case CURLE_UNSUPPORTED_PROTOCOL: return kErrUnrecognizedScheme;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY: return kErrNameNotResolved;
    case CURLE_COULDNT_CONNECT: return kErrCannotConnect;
    case CURLE_TOO_MANY_REDIRECTS: return kErrRedirectFailed;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CERTPROBLEM: return kErrSecureFailure;
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE: return kErrConnectionError;
    default: return kErrInvalidServerResponse;
  }
}

}  // namespace

uint32_t Get(std::string_view url, int* status, std::string* body) {
  std::lock_guard lock(gMutex);
  *status = 0;
  body->clear();
  if (!gHandle.curl) {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    gHandle.curl = curl_easy_init();
    if (!gHandle.curl) {
      SetLastError(kErrCannotConnect);
      return kErrCannotConnect;
    }
  }
  CURL* h = gHandle.curl;
  const long timeoutMs = SettingMs("KP_HTTP_TIMEOUT_MS", 15000);
  const char* ca = std::getenv("KP_HTTP_CA_FILE");
  const std::string caFile = ca ? ca : "";
  if (gHandle.timeoutMs != timeoutMs || gHandle.caFile != caFile) {
    // Set up again from the defaults (the connection cache is kept): the
    // default certificates come back when the CA file setting goes.
    curl_easy_reset(h);
    curl_easy_setopt(h, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(h, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(h, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
    curl_easy_setopt(h, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(h, CURLOPT_MAXREDIRS, 5L);
    curl_easy_setopt(h, CURLOPT_MAXAGE_CONN, 5L);
    curl_easy_setopt(h, CURLOPT_TIMEOUT_MS, timeoutMs);
    curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, Write);
    if (!caFile.empty()) curl_easy_setopt(h, CURLOPT_CAINFO, caFile.c_str());
    gHandle.timeoutMs = timeoutMs;
    gHandle.caFile = caFile;
  }
  const std::string u(url);
  Sink sink{body};
  curl_easy_setopt(h, CURLOPT_URL, u.c_str());
  curl_easy_setopt(h, CURLOPT_WRITEDATA, &sink);
  const CURLcode rc = curl_easy_perform(h);
  if (rc != CURLE_OK) {
    const uint32_t error = sink.tooBig ? kErrInvalidServerResponse : FromCurl(rc);
    body->clear();
    SetLastError(error);
    return error;
  }
  long code = 0;
  curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &code);
  *status = static_cast<int>(code);
  return 0;
}

}  // namespace kp::platform::http
