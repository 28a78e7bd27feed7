/* Plain C records through which the family passes vectors and sparsity
 * patterns between libraries. A record does not own anything by itself: whoever
 * made it says how its arrays are released. */
#pragma once

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* n real values. */
typedef struct KlRealVectorTag {
    size_t n;
    double* x;
} KlRealVectorTag;

/* n 32-bit integers. */
typedef struct KlIntVectorTag {
    size_t n;
    int32_t* x;
} KlIntVectorTag;

/* n truth values. */
typedef struct KlBoolVectorTag {
    size_t n;
    bool* x;
} KlBoolVectorTag;

/* Compressed-column pattern of an m-by-n matrix: jc holds n+1 column starts
 * into ir, ir the zero-based row index of each entry. */
typedef struct KlSparsityPatternTag {
    size_t n;
    size_t m;
    int32_t* jc;
    int32_t* ir;
} KlSparsityPatternTag;

#ifdef __cplusplus
}
#endif
