#include "PlayerTestSupport.h"

int main(int argc, char **argv) { return kestrabel::test::runPlayerTests(argc, argv); }
