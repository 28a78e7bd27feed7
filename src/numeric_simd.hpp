// Vector blocks of the floating-to-integer conversions on x86-64, for the
// pairs whose clamped range fits an int32: SSE2 (the baseline of x86-64) and
// AVX2 (chosen at run time). Internal to the library.
//
// Compilers do not vectorise these loops themselves: the clamping selects and
// the conversions that follow may raise floating exceptions, so they are
// kept behind branches. Here each block of lanes runs the same exact steps,
// fewer for the targets that allow it:
//   signed targets (int8, int16, int32):
//     1. NaN lanes become +0 (and with the ordered mask);
//     2. clamp to hi with min. No lower clamp: below the target's range the
//        truncation in step 3 gives either the exact int32 or INT32_MIN, and
//        both narrow to the target's lowest value, INT32_MIN being it for
//        int32 and the packs' signed saturation giving it for int8 and int16;
//     3. add copysign(h, x), h the largest value below 0.5, and truncate in
//        the conversion;
//   unsigned targets (uint8, uint16, char):
//     1. clamp to [0, hi] with max and min; max returns its second operand,
//        +0, for a NaN lane and for -0;
//     2. add h (every lane is +0 or more) and truncate.
// The sum reaches the next integer exactly when |frac(x)| >= 0.5: at a half
// the exact sum, n + 1 minus the spacing just below 0.5, is within half a
// spacing of n + 1 and rounds to it (for 0.5 itself it is exactly halfway,
// and the tie goes to the even value, 1); below a half it stays at least one
// spacing of x under n + 1 and truncates to n, 0.49999999999999994 included.
// Last, the int32 lanes are narrowed with packs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#if defined(__x86_64__)
#include <immintrin.h>
#define KLF_NUMERIC_X86 1
#else
#define KLF_NUMERIC_X86 0
#endif

namespace klf::detail {

/// Target element types the blocks narrow to.
template <class T>
inline constexpr bool simd_target_v =
    std::is_same_v<T, signed char> || std::is_same_v<T, unsigned char> ||
    std::is_same_v<T, short> || std::is_same_v<T, unsigned short> || std::is_same_v<T, char16_t> ||
    std::is_same_v<T, int>;

/// Floating to integer pairs the blocks take: the range fits an int32 and,
/// from float, 2^24 (so that float holds every bound exactly).
template <class T, class S>
inline constexpr bool has_truth_block_v = std::is_same_v<T, bool>&& std::is_integral_v<S> &&
                                          sizeof(S) == 8;

template <class T, class F>
inline constexpr bool has_simd_block_v = std::is_floating_point_v<F>&& simd_target_v<T> &&
                                         (std::is_same_v<F, double> || sizeof(T) <= 2);

#if KLF_NUMERIC_X86

template <class T, class F>
struct simd_bounds {
    static constexpr F hi = static_cast<F>(std::numeric_limits<T>::max());
    static constexpr F below_half = F(0.5) - std::numeric_limits<F>::epsilon() / 4;
};

/// Stores 16 bytes of T from 16 / sizeof(T) int32 lanes held in 4-lane
/// vectors r[0], r[1], ...
template <class T>
[[gnu::always_inline]] inline void store_narrowed(T* dst, const __m128i* r) noexcept {
    __m128i out;
    if constexpr (sizeof(T) == 4) {
        out = r[0];
    } else if constexpr (sizeof(T) == 2 && std::is_signed_v<T>) {
        out = _mm_packs_epi32(r[0], r[1]);
    } else if constexpr (sizeof(T) == 2) {
        // SSE2 packs int32 to int16 with signed saturation only: shift
        // 0..65535 into the int16 range and back.
        const __m128i bias = _mm_set1_epi32(32768);
        out = _mm_xor_si128(_mm_packs_epi32(_mm_sub_epi32(r[0], bias), _mm_sub_epi32(r[1], bias)),
                            _mm_set1_epi16(static_cast<short>(0x8000)));
    } else {
        const __m128i low = _mm_packs_epi32(r[0], r[1]);
        const __m128i high = _mm_packs_epi32(r[2], r[3]);
        out = std::is_signed_v<T> ? _mm_packs_epi16(low, high) : _mm_packus_epi16(low, high);
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), out);
}

// --- SSE2 --------------------------------------------------------------------

template <class T>
[[gnu::always_inline]] inline __m128i round_clamp_sse2(const double* src) noexcept {
    using B = simd_bounds<T, double>;
    auto two = [](const double* p) {
        const __m128d v = _mm_loadu_pd(p);
        if constexpr (std::is_signed_v<T>) {
            const __m128d x = _mm_min_pd(_mm_and_pd(v, _mm_cmpord_pd(v, v)), _mm_set1_pd(B::hi));
            const __m128d half =
                _mm_or_pd(_mm_and_pd(x, _mm_set1_pd(-0.0)), _mm_set1_pd(B::below_half));
            return _mm_cvttpd_epi32(_mm_add_pd(x, half));
        } else {
            const __m128d x = _mm_min_pd(_mm_max_pd(v, _mm_setzero_pd()), _mm_set1_pd(B::hi));
            return _mm_cvttpd_epi32(_mm_add_pd(x, _mm_set1_pd(B::below_half)));
        }
    };
    return _mm_unpacklo_epi64(two(src), two(src + 2));
}

template <class T>
[[gnu::always_inline]] inline __m128i round_clamp_sse2(const float* src) noexcept {
    using B = simd_bounds<T, float>;
    const __m128 v = _mm_loadu_ps(src);
    if constexpr (std::is_signed_v<T>) {
        const __m128 x = _mm_min_ps(_mm_and_ps(v, _mm_cmpord_ps(v, v)), _mm_set1_ps(B::hi));
        const __m128 half =
            _mm_or_ps(_mm_and_ps(x, _mm_set1_ps(-0.0f)), _mm_set1_ps(B::below_half));
        return _mm_cvttps_epi32(_mm_add_ps(x, half));
    } else {
        const __m128 x = _mm_min_ps(_mm_max_ps(v, _mm_setzero_ps()), _mm_set1_ps(B::hi));
        return _mm_cvttps_epi32(_mm_add_ps(x, _mm_set1_ps(B::below_half)));
    }
}

/// Converts the leading whole blocks of n elements; returns how many it did.
template <class T, class F>
[[gnu::always_inline]] inline std::size_t convert_blocks_sse2(const F* src, T* dst,
                                                              std::size_t n) noexcept {
    constexpr std::size_t groups = 4 / sizeof(T);  // 4-lane int32 vectors per 16 bytes out
    constexpr std::size_t block = 4 * groups;
    std::size_t i = 0;
    for (; i + block <= n; i += block) {
        __m128i r[groups];
        for (std::size_t g = 0; g < groups; ++g) {
            r[g] = round_clamp_sse2<T>(src + i + 4 * g);
        }
        store_narrowed<T>(dst + i, r);
    }
    return i;
}

// --- AVX2 --------------------------------------------------------------------

template <class T>
__attribute__((target("avx2"))) inline __m128i round_clamp_avx2(const double* src) noexcept {
    using B = simd_bounds<T, double>;
    const __m256d v = _mm256_loadu_pd(src);
    if constexpr (std::is_signed_v<T>) {
        const __m256d x =
            _mm256_min_pd(_mm256_and_pd(v, _mm256_cmp_pd(v, v, _CMP_ORD_Q)), _mm256_set1_pd(B::hi));
        const __m256d half =
            _mm256_or_pd(_mm256_and_pd(x, _mm256_set1_pd(-0.0)), _mm256_set1_pd(B::below_half));
        return _mm256_cvttpd_epi32(_mm256_add_pd(x, half));
    } else {
        const __m256d x =
            _mm256_min_pd(_mm256_max_pd(v, _mm256_setzero_pd()), _mm256_set1_pd(B::hi));
        return _mm256_cvttpd_epi32(_mm256_add_pd(x, _mm256_set1_pd(B::below_half)));
    }
}

template <class T>
__attribute__((target("avx2"))) inline __m256i round_clamp_avx2(const float* src) noexcept {
    using B = simd_bounds<T, float>;
    const __m256 v = _mm256_loadu_ps(src);
    if constexpr (std::is_signed_v<T>) {
        const __m256 x =
            _mm256_min_ps(_mm256_and_ps(v, _mm256_cmp_ps(v, v, _CMP_ORD_Q)), _mm256_set1_ps(B::hi));
        const __m256 half =
            _mm256_or_ps(_mm256_and_ps(x, _mm256_set1_ps(-0.0f)), _mm256_set1_ps(B::below_half));
        return _mm256_cvttps_epi32(_mm256_add_ps(x, half));
    } else {
        const __m256 x =
            _mm256_min_ps(_mm256_max_ps(v, _mm256_setzero_ps()), _mm256_set1_ps(B::hi));
        return _mm256_cvttps_epi32(_mm256_add_ps(x, _mm256_set1_ps(B::below_half)));
    }
}

/// Stores 32 bytes of T (2 or 1 bytes) from 8-lane int32 vectors t[0], t[1],
/// ... The packs work within 128-bit halves; the final permutation puts the
/// elements back in order.
template <class T>
__attribute__((target("avx2"))) inline void store_narrowed_avx2(T* dst, const __m256i* t) noexcept {
    __m256i out;
    if constexpr (sizeof(T) == 2) {
        out =
            std::is_signed_v<T> ? _mm256_packs_epi32(t[0], t[1]) : _mm256_packus_epi32(t[0], t[1]);
        out = _mm256_permute4x64_epi64(out, 0xD8);
    } else {
        const __m256i low = _mm256_packs_epi32(t[0], t[1]);
        const __m256i high = _mm256_packs_epi32(t[2], t[3]);
        out = std::is_signed_v<T> ? _mm256_packs_epi16(low, high) : _mm256_packus_epi16(low, high);
        out = _mm256_permutevar8x32_epi32(out, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), out);
}

template <class T, class F>
__attribute__((target("avx2"))) inline std::size_t convert_blocks_avx2(const F* src, T* dst,
                                                                       std::size_t n) noexcept {
    constexpr std::size_t groups = 4 / sizeof(T);
    std::size_t i = 0;
    if constexpr (std::is_same_v<F, double>) {
        // 4 doubles give 4 int32 lanes; 16 bytes of T at a time.
        for (; i + 4 * groups <= n; i += 4 * groups) {
            __m128i r[groups];
            for (std::size_t g = 0; g < groups; ++g) {
                r[g] = round_clamp_avx2<T>(src + i + 4 * g);
            }
            store_narrowed<T>(dst + i, r);
        }
    } else {
        // 8 floats give 8 int32 lanes; 32 bytes of T at a time.
        for (; i + 8 * groups <= n; i += 8 * groups) {
            __m256i t[groups];
            for (std::size_t g = 0; g < groups; ++g) {
                t[g] = round_clamp_avx2<T>(src + i + 8 * g);
            }
            store_narrowed_avx2<T>(dst + i, t);
        }
    }
    return i;
}

/// Bytes of four bools, one per bit of the index.
inline constexpr auto bool_quads = [] {
    std::array<std::uint32_t, 16> quads{};
    for (std::uint32_t bits = 0; bits < 16; ++bits) {
        for (std::uint32_t k = 0; k < 4; ++k) {
            quads[bits] |= ((bits >> k) & 1u) << (8 * k);
        }
    }
    return quads;
}();

/// 64-bit integers to logical: a signed value is true when above zero, an
/// unsigned one when not zero; four lanes compared, their signs gathered as
/// four bits, and the bits spread to bytes through a table.
template <class S>
__attribute__((target("avx2"))) inline std::size_t truth_blocks_avx2(const S* src, bool* dst,
                                                                     std::size_t n) noexcept {
    const __m256i zero = _mm256_setzero_si256();
    std::size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i));
        unsigned bits;
        if constexpr (std::is_signed_v<S>) {
            bits = static_cast<unsigned>(
                _mm256_movemask_pd(_mm256_castsi256_pd(_mm256_cmpgt_epi64(v, zero))));
        } else {
            bits = ~static_cast<unsigned>(
                       _mm256_movemask_pd(_mm256_castsi256_pd(_mm256_cmpeq_epi64(v, zero)))) &
                   0xFu;
        }
        std::memcpy(dst + i, &bool_quads[bits], 4);
    }
    return i;
}

#endif  // KLF_NUMERIC_X86

}  // namespace klf::detail
