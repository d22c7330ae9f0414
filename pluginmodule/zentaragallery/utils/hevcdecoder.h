#pragma once

// A decoder of single HEVC pictures for the HEIF library, faster than the one that it
// brings. It takes only what nearly all cameras write, 8 bits of full
// range with halved colours; for
// anything else, and for data with an error, it fails, and the caller decodes the
// picture in the usual way.
//
// The planes of brightness and of both colours stand under the names of red, green and
// blue, and as large as each other: the library would compute red, green and blue of
// every pixel at once, and the caller wants only those of the small picture.

// How a caller of the library chooses it; it is never chosen by itself. Null when the
// library does not take it. Safe from any thread.
const char* HevcDecoderId();
