#include "testing/tls_station_posix.h"

#include <httplib.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <atomic>
#include <stdexcept>
#include <utility>

#include "testing/test_task.h"

namespace receiver {
namespace {

struct KeyDeleter {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct CertificateDeleter {
    void operator()(X509* certificate) const { X509_free(certificate); }
};
using KeyPtr = std::unique_ptr<EVP_PKEY, KeyDeleter>;
using CertificatePtr = std::unique_ptr<X509, CertificateDeleter>;

// Its name fits the address, so that the missing issuer is all there is to refuse.
CertificatePtr MakeSelfSigned(EVP_PKEY* key) {
    CertificatePtr certificate(X509_new());
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
    X509_set_pubkey(certificate.get(), key);
    X509_NAME* name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("127.0.0.1"), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    if (X509_sign(certificate.get(), key, EVP_sha256()) == 0) {
        throw std::runtime_error("cannot sign the test certificate");
    }
    return certificate;
}

}  // namespace

struct TlsStation::Server {
    KeyPtr key{EVP_RSA_gen(2048)};
    CertificatePtr certificate = MakeSelfSigned(key.get());
    httplib::SSLServer http{certificate.get(), key.get()};
    std::atomic<size_t> served{0};
    int port = 0;
    TestTask<bool> thread;
};

TlsStation::TlsStation(std::string contentType, std::string body)
    : server_(std::make_unique<Server>()) {
    server_->http.Get(
        ".*", [server = server_.get(), type = std::move(contentType), audio = std::move(body)](
                  const httplib::Request&, httplib::Response& response) {
            ++server->served;
            response.set_content(audio, type);
        });
    server_->port = server_->http.bind_to_any_port("127.0.0.1");
    if (server_->port <= 0) throw std::runtime_error("no loopback listener");
    server_->thread = TestTask(
        "the TLS station", [server = server_.get()] { return server->http.listen_after_bind(); });
    // The first answer shows that it runs, and that only the certificate is in the way.
    httplib::SSLClient client("127.0.0.1", server_->port);
    client.enable_server_certificate_verification(false);
    const auto answer = client.Get("/");
    if (!answer || answer->status != 200) throw std::runtime_error("the TLS station is silent");
    server_->served = 0;
}

TlsStation::~TlsStation() {
    server_->http.stop();
    server_->thread.Get();
}

std::string TlsStation::Url(const std::string& path) const {
    return "https://127.0.0.1:" + std::to_string(server_->port) + path;
}

size_t TlsStation::ServedRequests() const {
    return server_->served;
}

}  // namespace receiver
