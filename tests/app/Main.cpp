#include "AppTestSupport.h"

int main(int argc, char **argv)
{
    return kestrabel::apptest::runTests(argc, argv, kestrabel::apptest::Display::KESTRABEL_APP_TEST_DISPLAY);
}
