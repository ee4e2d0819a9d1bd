#pragma once

#include <string>
#include <utility>
#include <vector>

#include "base/Error.h"
#include "platform/Time.h"

namespace parvel::platform {

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
    std::string method = "GET";
    std::string url;
    HttpHeaders headers;
    std::string body;
    Duration timeout = seconds(60);
    // Reload ignoring local and remote cache data.
    bool ignoreCaches = false;
};

struct HttpResponse {
    int statusCode = 0;
    HttpHeaders headers;
    std::string body;
    // False when the answer did not come from an HTTP server (a data: or file: URL).
    bool isHTTP = true;
};

// The error domain of transport failures; codes follow NSURLError (-1001 timed out...).
inline constexpr std::string_view kURLErrorDomain = "NSURLErrorDomain";

namespace url_error {
inline constexpr std::int64_t kCancelled = -999;
inline constexpr std::int64_t kBadURL = -1000;
inline constexpr std::int64_t kTimedOut = -1001;
inline constexpr std::int64_t kUnsupportedURL = -1002;
inline constexpr std::int64_t kCannotFindHost = -1003;
inline constexpr std::int64_t kCannotConnectToHost = -1004;
inline constexpr std::int64_t kNetworkConnectionLost = -1005;
inline constexpr std::int64_t kBadServerResponse = -1011;
inline constexpr std::int64_t kSecureConnectionFailed = -1200;
inline constexpr std::int64_t kUnknown = -1;
}  // namespace url_error

// The HTTP(S) service. A request blocks the calling thread until the answer, a transport
// error or the timeout; callers run it off the main thread. Certificates are always verified.
class Http {
  public:
    virtual ~Http() = default;
    virtual Result<HttpResponse> send(const HttpRequest& request) = 0;
};

}  // namespace parvel::platform
