#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

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

}  // namespace
}  // namespace photocloud::testing
