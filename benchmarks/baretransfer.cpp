// The least that a transfer of encrypted contents can cost: read, digest,
// encrypt and PUT, or GET, decrypt, digest and write, and nothing else. Speaks to
// its own sink, which keeps nothing; with a folder it does what a server has to do
// at least: it checks both digests and stores each body as durably.
//
//   bare_transfer sink [DIR]                prints its port
//   bare_transfer upload URL FILE...        over 4 threads, as the client does it
//   bare_transfer download URL DIR SIZE...
//
// The digests are those that the format needs: of the source HMAC-SHA-256 twice
// and SHA-256, of each slice's ciphertext MD5 and SHA-256; of what comes back
// SHA-256.

#include <curl/curl.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
namespace asio = boost::asio;
namespace http = boost::beast::http;

constexpr std::size_t kSlice = 4 << 20;
constexpr std::size_t kPiece = 1 << 16;
constexpr int kThreads = 4;
constexpr unsigned char kKey[16] = {1}, kIv[16] = {2};

struct Free {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using Digest = std::unique_ptr<EVP_MD_CTX, Free>;

Digest Begin(const EVP_MD* kind) {
  Digest digest(EVP_MD_CTX_new());
  EVP_DigestInit_ex(digest.get(), kind, nullptr);
  return digest;
}

std::string End(Digest& digest) {
  unsigned char bytes[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_DigestFinal_ex(digest.get(), bytes, &length);
  std::string text;
  for (unsigned int i = 0; i < length; ++i) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
    text += digits;
  }
  return text;
}

// HMAC-SHA-256 costs what SHA-256 costs; one digest stands for each.
void DigestSource(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<char> piece(kPiece);
  Digest digests[3] = {Begin(EVP_sha256()), Begin(EVP_sha256()), Begin(EVP_sha256())};
  while (file.read(piece.data(), static_cast<std::streamsize>(piece.size())), file.gcount() > 0) {
    for (Digest& digest : digests)
      EVP_DigestUpdate(digest.get(), piece.data(), static_cast<std::size_t>(file.gcount()));
  }
  for (Digest& digest : digests) (void)End(digest);
}

struct Sealed {
  std::vector<unsigned char> bytes;
  std::string digests;  // MD5 and SHA-256.
};

Sealed Seal(std::ifstream& file, std::vector<char>& piece) {
  std::vector<unsigned char> sealed(kSlice + 16);
  const std::unique_ptr<EVP_CIPHER_CTX, Free> cipher(EVP_CIPHER_CTX_new());
  EVP_EncryptInit_ex(cipher.get(), EVP_aes_128_cbc(), nullptr, kKey, kIv);
  Digest md5 = Begin(EVP_md5()), sha256 = Begin(EVP_sha256());
  std::size_t filled = 0;
  int written = 0;
  const auto digest = [&] {
    EVP_DigestUpdate(md5.get(), sealed.data() + filled, static_cast<std::size_t>(written));
    EVP_DigestUpdate(sha256.get(), sealed.data() + filled, static_cast<std::size_t>(written));
    filled += static_cast<std::size_t>(written);
  };
  for (std::size_t taken = 0; taken < kSlice; taken += kPiece) {
    file.read(piece.data(), static_cast<std::streamsize>(kPiece));
    if (file.gcount() == 0) break;
    EVP_EncryptUpdate(cipher.get(), sealed.data() + filled, &written,
                      reinterpret_cast<unsigned char*>(piece.data()), static_cast<int>(file.gcount()));
    digest();
  }
  EVP_EncryptFinal_ex(cipher.get(), sealed.data() + filled, &written);
  digest();
  sealed.resize(filled);
  return {std::move(sealed), End(md5) + End(sha256)};
}

struct Sending {
  const std::vector<unsigned char>& bytes;
  std::size_t position = 0;
};

std::size_t OnRead(char* buffer, std::size_t size, std::size_t count, void* self) {
  auto& sending = *static_cast<Sending*>(self);
  const std::size_t given = std::min(size * count, sending.bytes.size() - sending.position);
  std::copy_n(sending.bytes.begin() + static_cast<std::ptrdiff_t>(sending.position), given, buffer);
  sending.position += given;
  return given;
}

void Put(CURL* handle, const std::string& url, const Sealed& sealed) {
  const std::vector<unsigned char>& bytes = sealed.bytes;
  Sending sending{bytes};
  curl_slist* const headers = curl_slist_append(nullptr, ("x-digests: " + sealed.digests).c_str());
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle, CURLOPT_UPLOAD, 1L);
  curl_easy_setopt(handle, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(bytes.size()));
  curl_easy_setopt(handle, CURLOPT_READFUNCTION, &OnRead);
  curl_easy_setopt(handle, CURLOPT_READDATA, &sending);
  if (curl_easy_perform(handle) != CURLE_OK) std::abort();
  curl_slist_free_all(headers);
}

void UploadOne(CURL* handle, const std::string& url, const fs::path& path) {
  DigestSource(path);
  std::ifstream file(path, std::ios::binary);
  std::vector<char> piece(kPiece);
  const std::uintmax_t size = fs::file_size(path);
  for (std::uintmax_t sent = 0; sent < size; sent += kSlice) Put(handle, url, Seal(file, piece));
}

std::size_t OnWrite(char* data, std::size_t size, std::size_t count, void* self) {
  auto& bytes = *static_cast<std::vector<unsigned char>*>(self);
  bytes.insert(bytes.end(), data, data + size * count);
  return size * count;
}

std::vector<unsigned char> Get(CURL* handle, const std::string& url, std::size_t size) {
  std::vector<unsigned char> bytes;
  bytes.reserve(size);
  curl_easy_setopt(handle, CURLOPT_URL, (url + "/" + std::to_string(size)).c_str());
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &OnWrite);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &bytes);
  if (curl_easy_perform(handle) != CURLE_OK || bytes.size() != size) std::abort();
  return bytes;
}

void DownloadOne(CURL* handle, const std::string& url, const fs::path& path, std::size_t size) {
  std::ofstream file(path, std::ios::binary);
  Digest sha256 = Begin(EVP_sha256());
  for (std::size_t done = 0; done < size; done += kSlice) {
    const std::vector<unsigned char> sealed = Get(handle, url, std::min(kSlice, size - done) / 16 * 16 + 16);
    std::vector<unsigned char> plain(sealed.size());
    const std::unique_ptr<EVP_CIPHER_CTX, Free> cipher(EVP_CIPHER_CTX_new());
    EVP_DecryptInit_ex(cipher.get(), EVP_aes_128_cbc(), nullptr, kKey, kIv);
    EVP_CIPHER_CTX_set_padding(cipher.get(), 0);
    int written = 0;
    EVP_DecryptUpdate(cipher.get(), plain.data(), &written, sealed.data(), static_cast<int>(sealed.size()));
    const std::size_t count = std::min(kSlice, size - done);
    EVP_DigestUpdate(sha256.get(), plain.data(), count);
    file.write(reinterpret_cast<const char*>(plain.data()), static_cast<std::streamsize>(count));
  }
  (void)End(sha256);
}

template <typename Work>
void OverThreads(std::size_t count, Work work) {
  std::atomic<std::size_t> next{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      const std::unique_ptr<CURL, Free> handle(curl_easy_init());
      for (std::size_t index = next++; index < count; index = next++) work(handle.get(), index);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

void Flush(const fs::path& path) {
  const int handle = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (handle < 0 || ::fsync(handle) != 0) std::abort();
  ::close(handle);
}

// Written beside its place, flushed, renamed, and its folder flushed.
void Keep(const fs::path& folder, const std::string& body, const std::string& digests) {
  Digest md5 = Begin(EVP_md5()), sha256 = Begin(EVP_sha256());
  EVP_DigestUpdate(md5.get(), body.data(), body.size());
  EVP_DigestUpdate(sha256.get(), body.data(), body.size());
  if (End(md5) + End(sha256) != digests) std::abort();
  const fs::path place = folder / digests.substr(0, 2) / digests;
  fs::create_directories(place.parent_path());
  const fs::path part = folder / (digests + ".part");
  std::ofstream(part, std::ios::binary) << body;
  Flush(part);
  fs::rename(part, place);
  Flush(place.parent_path());
}

// Takes any body, and answers a GET of "/N" with N bytes.
void Serve(asio::ip::tcp::socket socket, const fs::path& folder) {
  boost::beast::flat_buffer buffer;
  // The library reads as much at a time as the buffer holds already.
  buffer.reserve(kPiece);
  boost::system::error_code error;
  static const std::string zeros(kSlice + 16, '\0');
  while (!error) {
    http::request_parser<http::string_body> parser;
    parser.body_limit(kSlice * 2);
    http::read_header(socket, buffer, parser, error);
    if (!error && parser.get()[http::field::expect] == "100-continue") {
      http::response<http::empty_body> go(http::status::continue_, 11);
      http::write(socket, go, error);
    }
    if (!error) http::read(socket, buffer, parser, error);
    if (error) return;
    http::response<http::string_body> response(http::status::ok, 11);
    if (!folder.empty() && parser.get().method() == http::verb::put)
      Keep(folder, parser.get().body(), std::string(parser.get()["x-digests"]));
    if (parser.get().method() == http::verb::get) {
      response.body() =
          zeros.substr(0, std::strtoull(std::string(parser.get().target()).c_str() + 1, nullptr, 10));
    }
    response.prepare_payload();
    http::write(socket, response, error);
  }
}

int RunSink(const fs::path& folder) {
  asio::io_context context;
  asio::ip::tcp::acceptor acceptor(context, {asio::ip::make_address("127.0.0.1"), 0});
  std::cout << acceptor.local_endpoint().port() << std::endl;
  while (true) std::thread(Serve, acceptor.accept(), folder).detach();
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (!words.empty() && words[0] == "sink") return RunSink(words.size() > 1 ? words[1] : "");
  curl_global_init(CURL_GLOBAL_DEFAULT);
  if (words.size() > 2 && words[0] == "upload") {
    OverThreads(words.size() - 2,
                [&](CURL* handle, std::size_t i) { UploadOne(handle, words[1], words[i + 2]); });
    return 0;
  }
  if (words.size() > 3 && words[0] == "download") {
    OverThreads(words.size() - 3, [&](CURL* handle, std::size_t i) {
      DownloadOne(handle, words[1], fs::path(words[2]) / std::to_string(i), std::stoull(words[i + 3]));
    });
    return 0;
  }
  std::cerr << "usage: bare_transfer sink [DIR] | upload URL FILE... | download URL DIR SIZE...\n";
  return 2;
}
