// Converting 10 million elements, for the pairs callers use most, against
// two baselines in the same run:
//   memcpy     copies (bytes read + bytes written) / 2 per element, so that
//              the copy moves as much memory as the conversion;
//   convertTo  OpenCV's cv::Mat::convertTo on the same data, where OpenCV has
//              the pair (built only when OpenCV is found).
// Each pair is measured twice: "loop" converts the elements into a result
// made once, as the baselines write into a destination made once; "call" is
// convert_numeric as callers see it (creating and zero-filling the result,
// the checks, the conversion, the release). A table of times and ratios
// follows the usual output.
//
//     bench_convert_numeric --benchmark_repetitions=10 --benchmark_report_aggregates_only=true
#include <algorithm>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/numeric.hpp>

#include "../src/numeric_rules.hpp"

#if KELVOR_BENCH_HAS_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

constexpr std::size_t kElements = 10'000'000;
constexpr int kNoPair = -1;

/// A 1 x kElements host array of S (complex when S is std::complex), its
/// values spread over +-spread so that most need rounding and some saturate.
template <class S>
matrix::unique_hyarray_ptr make_source(double spread) {
    std::mt19937_64 rng(42);
    std::uniform_real_distribution<double> real(-spread, spread);
    std::vector<S> values(kElements);
    for (S& v : values) {
        if constexpr (std::is_same_v<S, std::complex<double>>) {
            v = {real(rng), real(rng)};
        } else if constexpr (std::is_floating_point_v<S>) {
            v = static_cast<S>(real(rng));
        } else {
            v = static_cast<S>(rng());
        }
    }
    constexpr bool complex = std::is_same_v<S, std::complex<double>>;
    const std::size_t dims[] = {1, kElements};
    auto a = matrix::detail::do_create_numeric(dims, matrix::class_of<S>(),
                                               complex ? hyCOMPLEX : hyREAL);
    std::memcpy(matrix::data(a.get()), values.data(), values.size() * sizeof(S));
    return a;
}

struct Case {
    std::string name;
    matrix::unique_hyarray_ptr source;
    hyClassID to;
    hyComplexity complexity;
    std::size_t moved_bytes;  // (read + written) / 2 for all elements
    int cv_target;            // OpenCV depth, or kNoPair
    int cv_type;              // OpenCV type of the source
};

template <class T>
void bench_call(benchmark::State& state, const Case& c) {
    for (auto _ : state) {
        matrix::unique_hyarray_ptr r = klf::convert_numeric(c.source.get(), c.to, c.complexity);
        benchmark::DoNotOptimize(matrix::data(r.get()));
    }
}

template <class T>
void bench_loop(benchmark::State& state, const Case& c) {
    const matrix::unique_hyarray_ptr result =
        klf::convert_numeric(c.source.get(), c.to, c.complexity);
    T* out = static_cast<T*>(matrix::data(result.get()));
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            matrix::apply_visitor(c.source.get(), klf::detail::ConvertedCopyDispatch<T, T*>(out)));
        benchmark::ClobberMemory();
    }
}

void bench_memcpy(benchmark::State& state, const Case& c) {
    std::vector<unsigned char> from(c.moved_bytes), to(c.moved_bytes);
    for (std::size_t i = 0; i < from.size(); ++i) {
        from[i] = static_cast<unsigned char>(i * 7);
        to[i] = static_cast<unsigned char>(i);
    }
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
}

#if KELVOR_BENCH_HAS_OPENCV
void bench_convert_to(benchmark::State& state, const Case& c) {
    const cv::Mat from(1, static_cast<int>(kElements), c.cv_type,
                       const_cast<void*>(matrix::data(c.source.get())));
    cv::Mat to;
    from.convertTo(to, c.cv_target);
    for (auto _ : state) {
        from.convertTo(to, c.cv_target);
        benchmark::ClobberMemory();
    }
}
#endif

/// Keeps the fastest repetition of every benchmark for the table: other
/// work on the machine only ever adds time, so the minimum is the steadiest
/// figure on a shared machine.
class TableReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        // Repetitions arrive one by one, or only as aggregates when those
        // alone are reported ("min" is added to every benchmark below).
        for (const Run& run : runs) {
            const bool repetition = run.run_type == Run::RT_Iteration && run.iterations != 0;
            const bool minimum = run.run_type == Run::RT_Aggregate && run.aggregate_name == "min";
            if (!repetition && !minimum) {
                continue;
            }
            const std::string& name = run.run_name.function_name;  // "<kind>/<pair>"
            const double ms = run.GetAdjustedRealTime();
            auto [it, fresh] = best_.emplace(name, ms);
            if (!fresh) {
                it->second = std::min(it->second, ms);
            }
        }
    }

    /// Fastest time in milliseconds; 0 when the benchmark did not run.
    double best(const std::string& name) const {
        const auto it = best_.find(name);
        return it == best_.end() ? 0.0 : it->second;
    }

private:
    std::map<std::string, double> best_;
};

void print_table(const TableReporter& report, const std::vector<Case>& cases) {
    std::printf("\nFastest repetition of each.\n%-22s %9s %9s %9s %9s %12s %15s %12s\n",
                "conversion (ms)", "loop", "memcpy", "convertTo", "call", "loop/memcpy",
                "loop/convertTo", "call/memcpy");
    for (const Case& c : cases) {
        const double loop = report.best("loop/" + c.name);
        const double copy = report.best("memcpy/" + c.name);
        const double cv = report.best("convertTo/" + c.name);
        const double call = report.best("call/" + c.name);
        char cv_text[16] = "-";
        char cv_ratio[16] = "-";
        if (cv > 0) {
            std::snprintf(cv_text, sizeof cv_text, "%.2f", cv);
            std::snprintf(cv_ratio, sizeof cv_ratio, "%.2f", loop / cv);
        }
        std::printf("%-22s %9.2f %9.2f %9s %9.2f %12.2f %15s %12.2f\n", c.name.c_str(), loop, copy,
                    cv_text, call, loop / copy, cv_ratio, call / copy);
    }
}

template <class S, class T>
void add_case(std::vector<Case>& cases, const char* name, hyClassID to, double spread,
              [[maybe_unused]] int cv_type, [[maybe_unused]] int cv_target) {
    constexpr bool complex = std::is_same_v<S, std::complex<double>>;
    Case c{name,
           make_source<S>(spread),
           to,
           complex ? hyCOMPLEX : hyREAL,
           kElements * (sizeof(S) + sizeof(T)) / 2,
           cv_target,
           cv_type};
    cases.push_back(std::move(c));
}

}  // namespace

int main(int argc, char** argv) {
#if KELVOR_BENCH_HAS_OPENCV
    const int f64 = CV_64F, f32 = CV_32F, s32 = CV_32S, s16 = CV_16S, s8 = CV_8S, u8 = CV_8U;
    const int c64 = CV_64FC2, c16 = CV_16SC2;
#else
    const int f64 = kNoPair, f32 = kNoPair, s32 = kNoPair, s16 = kNoPair, s8 = kNoPair,
              u8 = kNoPair, c64 = kNoPair, c16 = kNoPair;
#endif
    std::vector<Case> cases;
    add_case<double, int>(cases, "double->int32", hyINT32_CLASS, 2.5e9, f64, s32);
    add_case<double, signed char>(cases, "double->int8", hyINT8_CLASS, 150, f64, s8);
    add_case<double, unsigned char>(cases, "double->uint8", hyUINT8_CLASS, 300, f64, u8);
    add_case<float, short>(cases, "single->int16", hyINT16_CLASS, 40000, f32, s16);
    add_case<std::int32_t, double>(cases, "int32->double", hyDOUBLE_CLASS, 0, s32, f64);
    add_case<double, float>(cases, "double->single", hySINGLE_CLASS, 1e6, f64, f32);
    add_case<std::int64_t, bool>(cases, "int64->logical", hyLOGICAL_CLASS, 0, kNoPair, kNoPair);
    add_case<std::complex<double>, std::complex<short>>(cases, "cdouble->cint16", hyINT16_CLASS,
                                                        40000, c64, c16);

    using Fn = void (*)(benchmark::State&, const Case&);
    const Fn loops[] = {&bench_loop<int>,           &bench_loop<signed char>,
                        &bench_loop<unsigned char>, &bench_loop<short>,
                        &bench_loop<double>,        &bench_loop<float>,
                        &bench_loop<bool>,          &bench_loop<std::complex<short>>};
    const Fn calls[] = {&bench_call<int>,           &bench_call<signed char>,
                        &bench_call<unsigned char>, &bench_call<short>,
                        &bench_call<double>,        &bench_call<float>,
                        &bench_call<bool>,          &bench_call<std::complex<short>>};
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const Case& c = cases[i];
        auto reg = [&](const std::string& kind, auto fn) {
            benchmark::RegisterBenchmark((kind + "/" + c.name).c_str(), fn, std::cref(c))
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime()
                ->ComputeStatistics("min", [](const std::vector<double>& v) {
                    return *std::min_element(v.begin(), v.end());
                });
        };
        reg("loop", loops[i]);
        reg("memcpy", &bench_memcpy);
#if KELVOR_BENCH_HAS_OPENCV
        if (c.cv_target != kNoPair) {
            reg("convertTo", &bench_convert_to);
        }
#endif
        reg("call", calls[i]);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    TableReporter report;
    benchmark::RunSpecifiedBenchmarks(&report);
    print_table(report, cases);
    benchmark::Shutdown();
    return 0;
}
