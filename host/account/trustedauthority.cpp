#include "host/account/trustedauthority.h"

#include "common/platform/files.h"
#include "common/platform/guid.h"
#include "common/platform/paths.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsonfile.h"

TrustedAuthority::TrustedAuthority() : before(GlobalParamWrapper::GetInstance()->GetCloudCaFile()) {}

TrustedAuthority::~TrustedAuthority() {
  if (changed) (void)GlobalParamWrapper::GetInstance()->SetCloudCaFile(before);
}

bool TrustedAuthority::IsCertificate(const std::string& text) {
  return text.find("-----BEGIN CERTIFICATE-----") != std::string::npos;
}

std::string TrustedAuthority::Take(const std::string& certificate) {
  // A new name: the one that counts now must stay whole if this login fails.
  const auto kept = JsonFile::Folder() / ("cloud-ca-" + platform::NewGuid() + ".pem");
  auto error = platform::MakeFolder(JsonFile::Folder());
  if (!error) error = platform::CreateAtomically(kept, certificate);
  changed = !error && GlobalParamWrapper::GetInstance()->SetCloudCaFile(platform::WidePath(kept));
  return changed ? std::string() : "the certificate cannot be kept in " + kept.string();
}
