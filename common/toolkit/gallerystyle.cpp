#include "common/toolkit/gallerystyle.h"

GalleryStyle::GalleryStyle() : QProxyStyle("Fusion") {}
