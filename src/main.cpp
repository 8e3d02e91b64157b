#include "frame/daemon.h"

int main(int argc, char** argv) {
  return kovo::run_kovotcp(argc, argv);
}
