#include "transfer/contentcrypto.h"

#include <openssl/evp.h>

#include <climits>
#include <fstream>

#include "common/platform/files.h"
#include "common/platform/text.h"
#include "utils/gallerylog.h"
#include "utils/streamdigest.h"

namespace ContentCrypto {
namespace {

constexpr std::size_t kBlock = 16;
constexpr std::size_t kHmacDigits = 64;
constexpr char kAes128[] = "AES_128_CBC_PKCS5Padding";
constexpr char kAes256[] = "AES_256_CBC_PKCS5Padding";
constexpr int kCipherDataType = 12;
// One call of the library takes an int.
constexpr std::size_t kLongestUpdate = std::size_t{1} << 30;
constexpr std::size_t kPassBytes = 0x400000;

struct FreeContext {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_CIPHER_CTX, FreeContext>;

int DigitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return -1;
}

std::string HexWith(std::string_view bytes, const char* alphabet) {
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const char byte : bytes) {
    text.push_back(alphabet[static_cast<unsigned char>(byte) >> 4]);
    text.push_back(alphabet[static_cast<unsigned char>(byte) & 15]);
  }
  return text;
}

enum class Direction { Decrypt = 0, Encrypt = 1 };

Context Open(const std::string& key, const std::string& iv, Direction direction) {
  const EVP_CIPHER* cipher = key.size() == 16 ? EVP_aes_128_cbc() : EVP_aes_256_cbc();
  const auto keyBytes = static_cast<std::size_t>(EVP_CIPHER_get_key_length(cipher));
  if (key.size() != keyBytes || iv.size() != kBlock) return nullptr;
  Context context(EVP_CIPHER_CTX_new());
  const auto* keyData = reinterpret_cast<const unsigned char*>(key.data());
  const auto* ivData = reinterpret_cast<const unsigned char*>(iv.data());
  if (!context ||
      EVP_CipherInit_ex(context.get(), cipher, nullptr, keyData, ivData, static_cast<int>(direction)) != 1) {
    return nullptr;
  }
  return context;
}

bool Step(EVP_CIPHER_CTX* context, std::string_view bytes, char* out, std::size_t& written) {
  written = 0;
  while (!bytes.empty()) {
    const std::string_view piece = bytes.substr(0, kLongestUpdate);
    int count = 0;
    if (EVP_CipherUpdate(context, reinterpret_cast<unsigned char*>(out + written), &count,
                         reinterpret_cast<const unsigned char*>(piece.data()),
                         static_cast<int>(piece.size())) != 1) {
      return false;
    }
    written += static_cast<std::size_t>(count);
    bytes.remove_prefix(piece.size());
  }
  return true;
}

bool Close(EVP_CIPHER_CTX* context, char* out, std::size_t& written) {
  int count = 0;
  const bool closed = EVP_CipherFinal_ex(context, reinterpret_cast<unsigned char*>(out), &count) == 1;
  written = closed ? static_cast<std::size_t>(count) : 0;
  return closed;
}

std::optional<std::string> Run(const std::string& key, const std::string& iv, std::string_view bytes,
                               Direction direction) {
  const Context context = Open(key, iv, direction);
  if (!context) return std::nullopt;
  std::string out(bytes.size() + 2 * kBlock, '\0');
  std::size_t body = 0, end = 0;
  if (!Step(context.get(), bytes, out.data(), body) || !Close(context.get(), out.data() + body, end)) {
    return std::nullopt;
  }
  out.resize(body + end);
  return out;
}

// The last block alone tells whether the padding is whole, as it is not under a
// wrong key; only then the others are written over.
bool DecryptInPlace(const std::string& key, const std::string& iv, std::string& bytes) {
  if (bytes.empty() || bytes.size() % kBlock != 0) return false;
  const std::size_t last = bytes.size() - kBlock;
  const auto end = Run(key, last == 0 ? iv : bytes.substr(last - kBlock, kBlock),
                       std::string_view(bytes).substr(last), Direction::Decrypt);
  const Context context = end ? Open(key, iv, Direction::Decrypt) : nullptr;
  std::size_t written = 0;
  if (!context || EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1 ||
      !Step(context.get(), std::string_view(bytes).substr(0, last), bytes.data(), written)) {
    return false;
  }
  bytes.replace(last, kBlock, *end);
  return true;
}

std::string Bytes(const unsigned char* bytes, std::size_t count) {
  return {reinterpret_cast<const char*>(bytes), count};
}

Json::Value Keychain(int type, const char* algorithm, const std::string& userKey, const wchar_t* id,
                     const KeyAndIv& content) {
  // It is the key's text that is wrapped, not its bytes.
  const auto wrapped = Encrypt(userKey, content.iv, ToUpperHex(content.key));
  if (!wrapped) return {};
  Json::Value chain;
  chain["type"] = type;
  chain["algorithm"] = algorithm;
  chain["ekey"] = ToUpperHex(content.iv + *wrapped);
  chain["id"] = platform::WideToUtf8(id);
  return chain;
}

std::string UserKey(std::int32_t keyType) {
  const st_UserInfo user = GlobalParamWrapper::GetInstance()->GetUserInfo();
  if (keyType == 1) return Bytes(user.userKey1, 16);
  if (keyType == 3) return Bytes(user.userKey3, 32);
  return {};
}

// The content's key; empty, logged, under a wrong key of the user.
std::string UnwrappedKey(std::int32_t keyType, const std::string& encryptedKey, const char* tag) {
  const std::string userKey = UserKey(keyType);
  if (userKey.empty()) {
    LogError(tag, "decode failed! keyType=" + std::to_string(keyType));
    return {};
  }
  const std::string wrapped = FromHex(encryptedKey);
  std::optional<std::string> keyText;
  if (wrapped.size() > kBlock) {
    keyText = Decrypt(userKey, wrapped.substr(0, kBlock), std::string_view(wrapped).substr(kBlock));
  }
  std::string key = keyText ? FromHex(*keyText) : std::string();
  if (key.empty()) LogError(tag, "decode failed!");
  return key;
}

// Decrypts what `Update` is given into a file.
class FileDecryption {
 public:
  FileDecryption(const std::string& key, const std::string& iv, const std::filesystem::path& target)
      : context(Open(key, iv, Direction::Decrypt)), out(target, std::ios::binary | std::ios::trunc) {}

  bool Update(std::string_view pass) {
    std::string plain(pass.size() + kBlock, '\0');
    std::size_t written = 0;
    return context && Step(context.get(), pass, plain.data(), written) && Write(plain, written);
  }
  bool Finish() {
    std::string plain(kBlock, '\0');
    std::size_t written = 0;
    return context && Close(context.get(), plain.data(), written) && Write(plain, written) && out.flush();
  }

 private:
  bool Write(const std::string& plain, std::size_t count) {
    return out.write(plain.data(), static_cast<std::streamsize>(count)).good();
  }

  const Context context;
  std::ofstream out;
};

}  // namespace

struct StreamCipher::State {
  Context context;
};

std::string FromHex(std::string_view digits) {
  std::string bytes;
  if (digits.size() % 2 != 0) return bytes;
  bytes.reserve(digits.size() / 2);
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const int high = DigitValue(digits[i]), low = DigitValue(digits[i + 1]);
    if (high < 0 || low < 0) return {};
    bytes.push_back(static_cast<char>(high * 16 + low));
  }
  return bytes;
}

std::string ToHex(std::string_view bytes) { return HexWith(bytes, "0123456789abcdef"); }
std::string ToUpperHex(std::string_view bytes) { return HexWith(bytes, "0123456789ABCDEF"); }

std::string MasterKey(const std::string& digits) {
  return digits.size() < 32 ? std::string() : FromHex(std::string_view(digits).substr(0, 32));
}

KeyAndIv KeysOfHmac(const std::string& hmac) {
  if (hmac.size() != kHmacDigits) return {};
  return {FromHex(hmac.substr(0, kHmacDigits / 2)), FromHex(hmac.substr(kHmacDigits / 2))};
}

std::optional<std::string> Encrypt(const std::string& key, const std::string& iv, std::string_view plain) {
  return Run(key, iv, plain, Direction::Encrypt);
}

std::optional<std::string> Decrypt(const std::string& key, const std::string& iv, std::string_view cipher) {
  return Run(key, iv, cipher, Direction::Decrypt);
}

StreamCipher::StreamCipher(const std::string& key, const std::string& iv)
    : state(std::make_unique<State>(State{Open(key, iv, Direction::Encrypt)})) {}
StreamCipher::~StreamCipher() = default;

bool StreamCipher::Update(std::string_view plain, char* out, std::size_t& written) {
  if (state->context && !Step(state->context.get(), plain, out, written)) state->context.reset();
  return state->context != nullptr;
}

bool StreamCipher::Finish(char* out, std::size_t& written) {
  return state->context && Close(state->context.get(), out, written);
}

Json::Value CipherRecord(const std::string& hmac, const st_UserInfo& user) {
  const KeyAndIv content = KeysOfHmac(hmac);
  if (!content.IsUsable()) return Json::Value();
  const std::string ivText = ToHex(content.iv);
  Json::Value record;
  record["algorithm"] = kAes128;
  record["dataType"] = kCipherDataType;
  record["iv"] = ivText;
  record["hfek"] = "1|" + ivText;
  const Json::Value first = Keychain(1, kAes128, Bytes(user.userKey1, 16), user.userKeyId1, content);
  const Json::Value second = Keychain(3, kAes256, Bytes(user.userKey3, 32), user.userKeyId3, content);
  if (first.isNull() || second.isNull()) return Json::Value();  // Nobody could read the content.
  record["keychains"].append(first);
  record["keychains"].append(second);
  return record;
}

std::string ResourceHash(const std::string& mk2, const std::string& hmac) {
  const std::string key = MasterKey(mk2);
  if (key.empty()) return {};  // An empty key would do, too.
  StreamDigest digest = StreamDigest::Hmac(key);
  digest.Update(hmac);
  const std::string digits = digest.Finish();
  return digits.empty() ? digits : digits + std::string(64, '0');
}

bool DecryptData(std::int32_t keyType, const std::string& encryptedKey, const std::string& ivText,
                 std::string& data, std::string& plain) {
  constexpr char kTag[] = "ContentCrypto::DecryptData";
  plain.clear();
  const std::string key = UnwrappedKey(keyType, encryptedKey, kTag);
  if (key.empty()) return false;
  if (!DecryptInPlace(key, FromHex(ivText), data)) {
    LogError(kTag, "decode failed!");
    return false;
  }
  plain.swap(data);
  return true;
}

bool DecryptFile(std::int32_t keyType, const std::string& encryptedKey, const std::string& ivText,
                 const std::filesystem::path& data, const std::filesystem::path& plain,
                 const std::function<bool()>& goesOn) {
  constexpr char kTag[] = "ContentCrypto::DecryptFile";
  const std::string key = UnwrappedKey(keyType, encryptedKey, kTag);
  if (key.empty()) return false;
  FileDecryption decryption(key, FromHex(ivText), plain);
  const auto error = platform::ReadInPasses(
      data, kPassBytes, [&](std::string_view pass) { return goesOn() && decryption.Update(pass); });
  if (!error && goesOn() && decryption.Finish()) return true;
  if (goesOn()) LogError(kTag, "decode failed!");
  return false;
}

bool DecryptDataByHmac(const std::string& hmac, std::string& data, std::string& plain) {
  plain.clear();
  const KeyAndIv content = KeysOfHmac(hmac);
  if (!content.IsUsable() || !DecryptInPlace(content.key, content.iv, data)) {
    LogError("ContentCrypto::DecryptDataByHmac", "decode failed by hmac");
    return false;
  }
  plain.swap(data);
  return true;
}

}  // namespace ContentCrypto
