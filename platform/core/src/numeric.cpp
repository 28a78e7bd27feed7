// C entry points of the floating-point helpers.
#include <kelvor/core/numeric.hpp>

#include <cmath>

extern "C" double klf_get_nan(void) {
    return klf::detail::GetNaN<double>{}();
}

extern "C" bool klf_is_nan(double v) {
    return std::isnan(v);
}
