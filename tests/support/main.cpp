// The start of every test program: the same environment whoever runs it.
#include "support/temp_dir.hpp"

#include <gmock/gmock.h>

#include <cstdlib>
#include <memory>
#include <sys/stat.h>

int main(int argc, char **argv) {
    testing::InitGoogleMock(&argc, argv);
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    for (const char *name : {"ORSIK_VERBOSITY", "ORSIK_TRACE", "ORSIK_ACCOUNTS", "ORSIK_PRODUCT_DIR", "ORSIK_NO_WS",
                             "MAGIC_PATH", "TESSIVANE_PROFILE", "TESVA_USE_GUI", "NLSPATH", "NO_COLOR"}) {
        unsetenv(name);
    }
    setenv("TZ", "UTC", 1);
    umask(022);
    // The machine's own host data is never touched, not even by a test that is run by hand.
    std::unique_ptr<temp_dir> host_data;
    if (!std::getenv("ORSIK_HOSTDATA_DIR")) {
        host_data = std::make_unique<temp_dir>();
        setenv("ORSIK_HOSTDATA_DIR", host_data->str().c_str(), 1);
    }
    return RUN_ALL_TESTS();
}
