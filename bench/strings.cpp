// Reading a large cell of names: to_ustring_array against a plain copy of the
// same UTF-16 data into a std::vector<ustring>. The ratio of the two is the
// cost of the per-element checks and of the deferred-error machinery.
//
//     bench_strings --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include <hyarray/hyarray.hpp>
#include <kelvor/common/foundation/matrix/strings.hpp>

namespace {

constexpr std::size_t kElements = 1'000'000;
constexpr std::size_t kLength = 16;

// A kElements×1 cell of distinct 1×16 character rows, made once.
const hyArray* names() {
    static const matrix::unique_hyarray_ptr cell = [] {
        const std::size_t dims[] = {kElements, 1};
        matrix::unique_hyarray_ptr c = matrix::detail::do_create_cell(dims);
        std::u16string text(kLength, u'a');
        for (std::size_t i = 0; i < kElements; ++i) {
            for (std::size_t k = 0, n = i; k < 6; ++k, n /= 26) {
                text[kLength - 1 - k] = static_cast<char16_t>(u'a' + n % 26);
            }
            hySetCell(c.get(), i, matrix::create(text.data(), text.size()).release());
        }
        return c;
    }();
    return cell.get();
}

void BM_ToUStringArray(benchmark::State& state) {
    const hyArray* cell = names();
    for (auto _ : state) {
        klf::UStringArray result = klf::to_ustring_array(cell);
        benchmark::DoNotOptimize(result.values.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kElements));
}

void BM_ToStringElementArray(benchmark::State& state) {
    const hyArray* cell = names();
    for (auto _ : state) {
        klf::StringElementArray result = klf::to_string_element_array(cell);
        benchmark::DoNotOptimize(result.values.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kElements));
}

// Baseline: the same characters, located once outside the timed loop, copied
// into a reserved vector.
void BM_CopyBaseline(benchmark::State& state) {
    const hyArray* cell = names();
    std::vector<std::pair<const char16_t*, std::size_t>> texts;
    texts.reserve(kElements);
    for (std::size_t i = 0; i < kElements; ++i) {
        const hyArray* slot = hyGetCell(cell, i);
        texts.emplace_back(static_cast<const char16_t*>(matrix::data(slot)),
                           matrix::number_of_elements(slot));
    }
    for (auto _ : state) {
        std::vector<ustring> result;
        result.reserve(texts.size());
        for (const auto& [data, size] : texts) {
            result.emplace_back(data, size);
        }
        benchmark::DoNotOptimize(result.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kElements));
}

BENCHMARK(BM_CopyBaseline)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ToUStringArray)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ToStringElementArray)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
