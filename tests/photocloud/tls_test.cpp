#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <signal.h>

#include <fstream>

#include "serverprocess.h"
#include "testcloud.h"
#include "testhttp.h"

namespace photocloud::testing {
namespace {

// A key and a certificate of its own, valid for an hour.
void MakeCertificate(const std::filesystem::path& folder) {
  EVP_PKEY* const key = EVP_EC_gen("P-256");
  X509* const certificate = X509_new();
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate), -60);
  X509_gmtime_adj(X509_getm_notAfter(certificate), 3600);
  X509_set_pubkey(certificate, key);
  X509_NAME* const name = X509_get_subject_name(certificate);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("127.0.0.1"),
                             -1, -1, 0);
  X509_set_issuer_name(certificate, name);
  X509_sign(certificate, key, EVP_sha256());
  std::FILE* const keyFile = std::fopen((folder / "key.pem").c_str(), "wb");
  PEM_write_PrivateKey(keyFile, key, nullptr, nullptr, 0, nullptr, nullptr);
  std::fclose(keyFile);
  std::FILE* const certificateFile = std::fopen((folder / "cert.pem").c_str(), "wb");
  PEM_write_X509(certificateFile, certificate);
  std::fclose(certificateFile);
  X509_free(certificate);
  EVP_PKEY_free(key);
}

class TlsTest : public ::testing::Test {
 protected:
  TlsTest() {
    MakeCertificate(folder.path);
    const std::string certificate = folder.path / "cert.pem";
    server = std::make_unique<ServerProcess>(
        PHOTOCLOUD_PROGRAM, folder.path.string(),
        std::vector<std::string>{"--tls-cert", certificate, "--tls-key", folder.path / "key.pem"});
  }

  TempFolder folder;
  std::unique_ptr<ServerProcess> server;
};

TEST_F(TlsTest, RequestsGoOverTls) {
  HttpConnection http(server->Port(), folder.path / "cert.pem");
  ASSERT_TRUE(http.IsOpen());
  for (int i = 0; i < 3; ++i) EXPECT_EQ(http.Call("GET", "/cloudPhoto/v1/time").status, 200);
  EXPECT_EQ(http.Call("GET", "/cloudPhoto/v1/about").status, 401);
}

TEST_F(TlsTest, StrangeCertificateIsNotTrusted) {
  const TempFolder other;
  MakeCertificate(other.path);
  EXPECT_FALSE(HttpConnection(server->Port(), other.path / "cert.pem").IsOpen());
}

TEST_F(TlsTest, PlainRequestsGetNoAnswer) {
  HttpConnection http(server->Port());
  EXPECT_EQ(http.Call("GET", "/cloudPhoto/v1/time").status, 0);
  HttpConnection after(server->Port(), folder.path / "cert.pem");
  EXPECT_EQ(after.Call("GET", "/cloudPhoto/v1/time").status, 200);
}

// A handshake under the given bounds; null when there is none.
class Handshake {
 public:
  Handshake(int port, int lowest, int highest, const char* ciphers = nullptr) {
    SSL_CTX_set_min_proto_version(context, lowest);
    SSL_CTX_set_max_proto_version(context, highest);
    // The bounds are to be the server's and not those of this side.
    SSL_CTX_set_cipher_list(context, ciphers ? ciphers : "ALL:@SECLEVEL=0");
    BIO* const socket = BIO_new_connect(("127.0.0.1:" + std::to_string(port)).c_str());
    tls = SSL_new(context);
    SSL_set_bio(tls, socket, socket);
    isDone = SSL_connect(tls) == 1;
  }
  ~Handshake() {
    SSL_free(tls);
    SSL_CTX_free(context);
  }
  Handshake(const Handshake&) = delete;
  Handshake& operator=(const Handshake&) = delete;

  SSL_CTX* const context = SSL_CTX_new(TLS_client_method());
  SSL* tls = nullptr;
  bool isDone = false;
};

TEST_F(TlsTest, OnlyVersionsAndCiphersThatHoldAreTaken) {
  EXPECT_TRUE(Handshake(server->Port(), TLS1_3_VERSION, TLS1_3_VERSION).isDone);
  EXPECT_TRUE(Handshake(server->Port(), TLS1_2_VERSION, TLS1_2_VERSION).isDone);
  EXPECT_FALSE(Handshake(server->Port(), TLS1_VERSION, TLS1_1_VERSION).isDone);
  const auto takes = [&](const char* cipher) {
    return Handshake(server->Port(), TLS1_2_VERSION, TLS1_2_VERSION, cipher).isDone;
  };
  EXPECT_TRUE(takes("ECDHE-ECDSA-AES256-GCM-SHA384"));
  EXPECT_TRUE(takes("ECDHE-ECDSA-CHACHA20-POLY1305"));
  EXPECT_FALSE(takes("ECDHE-ECDSA-AES256-SHA384"));
}

TEST_F(TlsTest, RenegotiationIsRefused) {
  Handshake client(server->Port(), TLS1_2_VERSION, TLS1_2_VERSION);
  ASSERT_TRUE(client.isDone);
  SSL_renegotiate(client.tls);
  EXPECT_NE(SSL_do_handshake(client.tls), 1);
}

TEST_F(TlsTest, ConnectionEndsWithItsNotice) {
  Handshake client(server->Port(), TLS1_2_VERSION, TLS1_3_VERSION);
  ASSERT_TRUE(client.isDone);
  const std::string request = "GET /cloudPhoto/v1/time HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n";
  SSL_write(client.tls, request.data(), static_cast<int>(request.size()));
  char buffer[4096];
  int count = 0;
  while ((count = SSL_read(client.tls, buffer, sizeof buffer)) > 0) {
  }
  EXPECT_EQ(SSL_get_error(client.tls, count), SSL_ERROR_ZERO_RETURN);
}

TEST_F(TlsTest, NewCertificateIsTakenAtTheSignal) {
  HttpConnection before(server->Port(), folder.path / "cert.pem");
  ASSERT_EQ(before.Call("GET", "/cloudPhoto/v1/time").status, 200);
  const std::filesystem::path old = folder.path / "old.pem";
  std::filesystem::copy(folder.path / "cert.pem", old);
  MakeCertificate(folder.path);
  server->Signal(SIGHUP);
  // Either of the two until the signal has come through.
  while (!HttpConnection(server->Port(), folder.path / "cert.pem").IsOpen()) {
    ASSERT_TRUE(HttpConnection(server->Port(), old).IsOpen() ||
                HttpConnection(server->Port(), folder.path / "cert.pem").IsOpen());
  }
  EXPECT_FALSE(HttpConnection(server->Port(), old).IsOpen());
  // Open connections go on.
  EXPECT_EQ(before.Call("GET", "/cloudPhoto/v1/time").status, 200);
  // One that cannot be read leaves the present one in place.
  std::ofstream(folder.path / "cert.pem.new") << "nonsense";
  std::filesystem::copy(folder.path / "cert.pem", folder.path / "good.pem");
  std::filesystem::rename(folder.path / "cert.pem.new", folder.path / "cert.pem");
  server->Signal(SIGHUP);
  EXPECT_TRUE(HttpConnection(server->Port(), folder.path / "good.pem").IsOpen());
}

}  // namespace
}  // namespace photocloud::testing
