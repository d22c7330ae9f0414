#pragma once

// The generation of the service that transfers of this user use.
enum class GalleryVer { Unknown = 0, V1 = 1, V2 = 2 };

// From what is known of the cloud's generation; asks the service while it is not.
GalleryVer GetGalleryVer();
