#include "command_line.hpp"

int main(int argc, char** argv) { return stemstrip::cli::RunCommandLine(argc, argv); }
