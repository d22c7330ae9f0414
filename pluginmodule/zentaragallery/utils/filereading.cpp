#include "utils/filereading.h"

namespace {

thread_local FileReading* current = nullptr;

}  // namespace

FileReading::FileReading(const std::atomic<bool>* stop) : stopping(stop), outer(current) { current = this; }

FileReading::~FileReading() { current = outer; }

bool FileReading::GoesOn() { return !current || !current->stopping || !*current->stopping; }

void FileReading::NoteTooSlow() {
  if (current) current->tooSlow = true;
}
