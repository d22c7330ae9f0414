#pragma once

// What assistive technology is told of the lists and their pictures: a list of items,
// each with its name, its place among all pictures, whether it is selected and whether
// it has the keyboard's ring. Pressing an item opens it, as Enter does. The albums that a
// dialog offers are a list of items, too; pressing one chooses it.
//
// Installed once, before the first window of the page. User-interface thread.
void InstallGalleryAccessible();
