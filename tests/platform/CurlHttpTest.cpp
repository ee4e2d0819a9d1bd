#include <future>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "platform/posix/CurlHttp.h"
#include "platform/posix/UniqueFd.h"
#include "support/LoopbackServer.h"
#include "support/Subprocess.h"
#include "support/TemporaryDirectory.h"

namespace parvel::posix {
namespace {

using platform::HttpRequest;
using platform::HttpResponse;

std::string headerValue(const HttpResponse& response, std::string_view name) {
    for (const auto& [key, value] : response.headers) {
        if (key == name) {
            return value;
        }
    }
    return "<absent>";
}

// A loopback port with nothing listening on it.
int closedPort() {
    UniqueFd socket(::socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    ::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), length);
    ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

class CurlHttpTest : public testing::Test {
  protected:
    void SetUp() override {
        const auto echo = [](const httplib::Request& request, httplib::Response& response) {
            response.status = std::stoi(request.get_param_value("status").empty()
                                            ? "200"
                                            : request.get_param_value("status"));
            response.set_header("X-Echo-Probe", request.get_header_value("X-Probe"));
            response.set_content(request.method + "|" + request.body, "text/plain");
        };
        auto& routes = server.http();
        routes.Get("/echo", echo).Post("/echo", echo).Put("/echo", echo);
        routes.Patch("/echo", echo).Delete("/echo", echo);
        routes.Get("/moved", [](const httplib::Request&, httplib::Response& response) {
            response.set_redirect("/echo", 302);
        });
        routes.Get("/slow", [](const httplib::Request&, httplib::Response& response) {
            std::this_thread::sleep_for(std::chrono::seconds(1));
            response.set_content("late", "text/plain");
        });
        routes.Get("/dropped", [](const httplib::Request&, httplib::Response& response) {
            response.set_content_provider(1000, "text/plain",
                                          [](std::size_t, std::size_t, httplib::DataSink& sink) {
                                              sink.write("partial", 7);
                                              return false;
                                          });
        });
        server.start();
    }

    HttpRequest request(std::string method, const std::string& path, std::string body = {}) {
        HttpRequest made;
        made.method = std::move(method);
        made.url = server.url() + path;
        made.body = std::move(body);
        made.headers = {{"X-Probe", "probe value"}};
        return made;
    }

    test_support::LoopbackServer server;
    CurlHttp http;
};

TEST_F(CurlHttpTest, MethodsHeadersAndBodiesTravelBothWays) {
    struct Case {
        std::string method;
        std::string body;
        std::string expectedBody;
    };
    const Case cases[] = {
        {"GET", "", "GET|"},
        {"POST", R"({"a":1})", R"(POST|{"a":1})"},
        {"POST", "", "POST|"},
        {"PUT", "replacement", "PUT|replacement"},
        {"PATCH", "change", "PATCH|change"},
        {"DELETE", "", "DELETE|"},
        {"HEAD", "", ""},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.method);
        const auto response = http.send(request(testCase.method, "/echo", testCase.body));
        ASSERT_TRUE(response.has_value()) << response.error().description;
        EXPECT_EQ(response->statusCode, 200);
        EXPECT_EQ(response->body, testCase.expectedBody);
        EXPECT_EQ(headerValue(*response, "X-Echo-Probe"), "probe value");
        EXPECT_TRUE(response->isHTTP);
    }
}

TEST_F(CurlHttpTest, StatusCodesAndRedirectsComeBackUnfollowed) {
    for (const int status : {201, 204, 404, 429, 500, 503}) {
        const auto response = http.send(request("GET", "/echo?status=" + std::to_string(status)));
        ASSERT_TRUE(response.has_value());
        EXPECT_EQ(response->statusCode, status);
    }
    const auto moved = http.send(request("GET", "/moved"));
    ASSERT_TRUE(moved.has_value());
    EXPECT_EQ(moved->statusCode, 302);
    EXPECT_EQ(headerValue(*moved, "Location"), "/echo");
}

TEST_F(CurlHttpTest, TransportFailuresBecomeURLErrors) {
    struct Case {
        std::string url;
        std::int64_t code;
        std::string description;
    };
    const Case cases[] = {
        {server.url() + "/slow", -1001, "The request timed out."},
        {"http://127.0.0.1:" + std::to_string(closedPort()) + "/", -1004,
         "Could not connect to the server."},
        {server.url() + "/dropped", -1005, "The network connection was lost."},
        {"http://exa mple.com/", -1000, "bad URL"},
        {"ftp://127.0.0.1/file", -1002, "unsupported URL"},
        {"file:///etc/passwd", -1002, "unsupported URL"},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.url);
        HttpRequest made;
        made.url = testCase.url;
        made.timeout = std::chrono::milliseconds(300);
        const auto response = http.send(made);
        ASSERT_FALSE(response.has_value()) << response->body;
        EXPECT_EQ(response.error(),
                  (Error{"NSURLErrorDomain", testCase.code, testCase.description}));
    }
}

TEST_F(CurlHttpTest, HeadersThatWouldSmuggleLinesAreRefused) {
    auto smuggling = request("GET", "/echo");
    smuggling.headers = {{"X-Probe", "a\r\nX-Injected: 1"}};
    const auto response = http.send(smuggling);
    ASSERT_FALSE(response.has_value());
    EXPECT_EQ(response.error().domain, "NSURLErrorDomain");
}

TEST_F(CurlHttpTest, ConcurrentRequestsDoNotMix) {
    std::vector<std::future<Result<HttpResponse>>> answers;
    for (int i = 0; i < 8; ++i) {
        answers.push_back(std::async(std::launch::async, [this, i] {
            return http.send(request("POST", "/echo", std::to_string(i)));
        }));
    }
    for (int i = 0; i < 8; ++i) {
        const auto response = answers[static_cast<std::size_t>(i)].get();
        ASSERT_TRUE(response.has_value());
        EXPECT_EQ(response->body, "POST|" + std::to_string(i));
    }
}

TEST(CurlHttpTlsTest, ASelfSignedCertificateIsRefused) {
    test_support::TemporaryDirectory folder;
    const auto certificate = folder.path() + "/certificate.pem";
    const auto key = folder.path() + "/key.pem";
    const auto made =
        test_support::Subprocess({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                                  "ec_paramgen_curve:prime256v1", "-nodes", "-days", "1", "-subj",
                                  "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1",
                                  "-keyout", key, "-out", certificate})
            .finish();
    ASSERT_EQ(made.status, 0) << made.error;
    test_support::LoopbackServer server(
        std::make_unique<httplib::SSLServer>(certificate.c_str(), key.c_str()));
    server.http().Get("/", [](const httplib::Request&, httplib::Response& response) {
        response.set_content("trusted", "text/plain");
    });
    server.start();

    HttpRequest secure;
    secure.url = server.url("https") + "/";
    const auto response = CurlHttp().send(secure);

    ASSERT_FALSE(response.has_value()) << "verification must refuse an unknown issuer";
    EXPECT_EQ(response.error().code, platform::url_error::kSecureConnectionFailed);
    EXPECT_EQ(response.error().description,
              "An SSL error has occurred and a secure connection to the server cannot be made.");
}

}  // namespace
}  // namespace parvel::posix
