#include "platform/posix/CurlHttp.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <mutex>
#include <stdexcept>

#include <curl/curl.h>

#include "base/Text.h"

namespace parvel::posix {

namespace url_error = platform::url_error;

namespace {

// NSURLError codes the shared list does not name.

constexpr long kVerifyHostName = 2;

struct EasyDeleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using EasyHandle = std::unique_ptr<CURL, EasyDeleter>;

struct HeaderListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using HeaderList = std::unique_ptr<curl_slist, HeaderListDeleter>;

// libcurl's global set-up is not thread-safe on every build, so it runs once for the process.
void initializeCurlOnce() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
            throw std::runtime_error("libcurl could not be initialised");
        }
    });
}

Error urlError(std::int64_t code, std::string description) {
    return Error{std::string(platform::kURLErrorDomain), code, std::move(description)};
}

Error transportError(CURLcode code) {
    switch (code) {
        case CURLE_OPERATION_TIMEDOUT:
            return urlError(url_error::kTimedOut, "The request timed out.");
        case CURLE_COULDNT_RESOLVE_HOST:
            return urlError(url_error::kCannotFindHost,
                            "A server with the specified hostname could not be found.");
        case CURLE_COULDNT_CONNECT:
            return urlError(url_error::kCannotConnectToHost, "Could not connect to the server.");
        case CURLE_GOT_NOTHING:
        case CURLE_PARTIAL_FILE:
        case CURLE_RECV_ERROR:
        case CURLE_SEND_ERROR:
            return urlError(url_error::kNetworkConnectionLost, "The network connection was lost.");
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
        case CURLE_SSL_INVALIDCERTSTATUS:
            return urlError(url_error::kSecureConnectionFailed,
                            "An SSL error has occurred and a secure connection to the server "
                            "cannot be made.");
        case CURLE_URL_MALFORMAT:
            return urlError(url_error::kBadURL, "bad URL");
        case CURLE_UNSUPPORTED_PROTOCOL:
            return urlError(url_error::kUnsupportedURL, "unsupported URL");
        case CURLE_WEIRD_SERVER_REPLY:
            return urlError(url_error::kBadServerResponse,
                            "The server returned an invalid response.");
        default:
            return urlError(url_error::kUnknown, "An unknown network error occurred.");
    }
}

// A header line break or NUL would smuggle extra headers into the request.
bool isSafeHeaderText(std::string_view text) {
    return std::ranges::none_of(text, [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
}

// What the callbacks fill in while the transfer runs.
struct Reception {
    platform::HttpHeaders headers;
    std::string body;
};

std::size_t receiveBody(char* data, std::size_t size, std::size_t count, void* context) {
    static_cast<Reception*>(context)->body.append(data, size * count);
    return size * count;
}

std::size_t receiveHeader(char* data, std::size_t size, std::size_t count, void* context) {
    auto& reception = *static_cast<Reception*>(context);
    const std::string_view line(data, size * count);
    // A status line starts a new header block (after "100 Continue"); keep only the last block.
    if (line.starts_with("HTTP/")) {
        reception.headers.clear();
    } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
        reception.headers.emplace_back(std::string(trimmedWhitespace(line.substr(0, colon))),
                                       std::string(trimmedWhitespace(line.substr(colon + 1))));
    }
    return size * count;
}

Result<HeaderList> headerList(const platform::HttpHeaders& headers) {
    HeaderList list;
    for (const auto& [name, value] : headers) {
        if (name.empty() || !isSafeHeaderText(name) || !isSafeHeaderText(value)) {
            return std::unexpected(
                urlError(url_error::kBadURL, "The request has an invalid header."));
        }
        // libcurl drops "Name:" with nothing but blanks after it; "Name;" sends it empty.
        const auto line = trimmedWhitespace(value).empty() ? name + ";" : name + ": " + value;
        // Appending keeps the head of a non-empty list, so only the first append changes owner.
        curl_slist* head = curl_slist_append(list.get(), line.c_str());
        if (head == nullptr) {
            throw std::bad_alloc();
        }
        if (!list) {
            list.reset(head);
        }
    }
    return list;
}

void setMethodAndBody(CURL* handle, const platform::HttpRequest& request) {
    if (request.method == "HEAD") {
        curl_easy_setopt(handle, CURLOPT_NOBODY, 1L);
        return;
    }
    const bool sendsBody = !request.body.empty() || request.method == "POST";
    if (sendsBody) {
        curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE,
                         static_cast<curl_off_t>(request.body.size()));
        curl_easy_setopt(handle, CURLOPT_POSTFIELDS, request.body.data());
    }
    if (request.method != (sendsBody ? "POST" : "GET")) {
        curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, request.method.c_str());
    }
}

long timeoutMilliseconds(platform::Duration timeout) {
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(timeout);
    // libcurl reads 0 as "no timeout"; the shortest real bound is one millisecond.
    return std::max(1L, static_cast<long>(milliseconds.count()));
}

}  // namespace

CurlHttp::CurlHttp() {
    initializeCurlOnce();
}

Result<platform::HttpResponse> CurlHttp::send(const platform::HttpRequest& request) {
    EasyHandle handle(curl_easy_init());
    if (!handle) {
        throw std::bad_alloc();
    }
    auto headers = headerList(request.headers);
    if (!headers) {
        return std::unexpected(headers.error());
    }
    Reception reception;
    CURL* easy = handle.get();
    curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, kVerifyHostName);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, timeoutMilliseconds(request.timeout));
    // Answers may come compressed; libcurl inflates them, as Foundation does.
    curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers->get());
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, receiveBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &reception);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, receiveHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, &reception);
    // Nothing is cached here, so a request that ignores caches needs nothing more.
    setMethodAndBody(easy, request);

    const CURLcode result = curl_easy_perform(easy);
    if (result != CURLE_OK) {
        return std::unexpected(transportError(result));
    }
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    return platform::HttpResponse{.statusCode = static_cast<int>(status),
                                  .headers = std::move(reception.headers),
                                  .body = std::move(reception.body),
                                  .isHTTP = true};
}

}  // namespace parvel::posix
