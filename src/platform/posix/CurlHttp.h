#pragma once

#include "platform/Http.h"

namespace parvel::posix {

// HTTP and HTTPS over libcurl. Each request gets its own connection handle, so any number of
// threads may send at once. Certificates and host names are always verified, redirects come back
// to the caller as they are, and only http and https URLs are accepted. Transport failures are
// Errors in kURLErrorDomain with NSURLError codes and fixed English descriptions.
class CurlHttp final : public platform::Http {
  public:
    CurlHttp();

    Result<platform::HttpResponse> send(const platform::HttpRequest& request) override;
};

}  // namespace parvel::posix
