// Metadata of pictures: a TIFF structure as a file has it, and the JSON form.

#include "fuzz.h"
#include "utils/exifreader.h"
#include "utils/mediareader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = TextOf(data, size);
  PictureMetadata metadata;
  std::int64_t time = 0;
  ApplyExif(text, size % 2 == 0 ? ExifSize::Take : ExifSize::Ignore, metadata, time);
  // What was read once is read again from its own words.
  const std::string words = CompactJson(metadata.ToJson());
  PictureMetadata again;
  if (again.FromJson(ParseJson(words))) Demand(CompactJson(again.ToJson()) == words);
  (void)metadata.FromJson(ParseJson(text));
  VideoMetadata film;
  (void)film.FromJson(ParseJson(text));
  (void)ParseExifTime(std::string(text), time);
  return 0;
}
