// cloud_fill DATA USER COUNT: the account's media for a benchmark whose own
// program must not link the server.

#include <cstdlib>

#include "cloudfill.h"

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  FillCloud(argv[1], argv[2], std::atoll(argv[3]));
}
