// Keeps the module's entry point, which nothing in the module itself calls.

#include "zentaragalleryobj.h"

extern "C" ZentaraGalleryObj* CreateZentaraGalleryObj() { return new ZentaraGalleryObj; }
