#pragma once

#include <atomic>
#include <string>

#include "common/platform/window.h"

class GlobalParamWrapper;

// Values that the whole module shares. Set on the user-interface thread at
// start and read everywhere without a lock; cloudGeneration is also set by the
// sync thread, once a run.
namespace GlobalData {

// The host's parameters; null before InitWnd.
inline std::atomic<GlobalParamWrapper*> globalParam{nullptr};

// Base addresses of the two service generations, UTF-8. Written only while no
// worker runs.
inline std::string cloudPhotoUrl;
inline std::string cloudPhotoV2Url;

// Generation of the user's cloud: 0 V1, 1 a V2 service that is not yet cut
// over, 2 V2, 3 not known.
inline constexpr int kGenerationV1 = 0;
inline constexpr int kGenerationV1Eur = 1;
inline constexpr int kGenerationV2 = 2;
inline constexpr int kGenerationUnknown = 3;
inline std::atomic<int> cloudGeneration{kGenerationUnknown};

// The user's gallery came over from the first generation. Set by downloads that
// see the mark on a record, and taken back when the user logs out.
inline std::atomic<bool> GalleryMigrated{false};

inline std::atomic<HWND> mainWnd{nullptr};            // the host's window
inline std::atomic<HWND> galleryWnd{nullptr};         // the gallery's main window
inline std::atomic<HWND> transferWnd{nullptr};        // the transfer window
inline std::atomic<HWND> uploadProgressWnd{nullptr};  // the upload progress window

// Cache folders below the user cache path, as they stand in paths of the model.
inline constexpr wchar_t kThumbnailFolder[] = L"\\Thumbnail\\";
inline constexpr wchar_t kLcdThumbnailFolder[] = L"\\LcdThumbNail\\";
inline constexpr wchar_t kOriginalImagesFolder[] = L"\\OriginalImages";
inline constexpr wchar_t kSettingIni[] = L"\\Setting.ini";

// The characters that a name may not have, used as a set: the blanks count.
inline constexpr wchar_t kForbiddenCharacters[] = L"\\\" . \\\\ / : * ? < > | [ ] { }";

}  // namespace GlobalData
