// Every host test starts and ends with the same number of live arrays.
#pragma once

#include <gtest/gtest.h>

#include <hyarray/hyarray.hpp>
#include <hyarray/testing.hpp>
#include <string>

namespace host_test {

class HostTest : public ::testing::Test {
protected:
    void TearDown() override {
        matrix::testing::clear_allocation_failure();
        EXPECT_EQ(live_.delta(), 0) << "host arrays leaked";
    }

private:
    matrix::testing::LiveArrays live_;
};

// The message of the HostError that `f` raises ("" when it raises none).
template <class F>
std::string host_error(F&& f) {
    try {
        f();
    } catch (const matrix::HostError& e) {
        return e.what();
    }
    return "";
}

}  // namespace host_test
