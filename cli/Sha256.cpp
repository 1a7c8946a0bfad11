#include "Sha256.h"

#include <array>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#include <immintrin.h>
#define KESTRABEL_SHA_NI 1
#endif

namespace kestrabel::cli {

namespace {

alignas(16) constexpr std::array<uint32_t, 64> kRound = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5, 0xd807aa98, 0x12835b01, 0x243185be,
    0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174, 0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa,
    0x5cb0a9dc, 0x76f988da, 0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967, 0x27b70a85,
    0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85, 0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3,
    0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070, 0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f,
    0x682e6ff3, 0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

using State = std::array<uint32_t, 8>;

uint32_t rotr(uint32_t x, int n) { return x >> n | x << (32 - n); }

void compressPortable(State &h, const uint8_t *data, size_t blocks)
{
    for (; blocks; --blocks, data += 64) {
        uint32_t w[64];
        for (int i = 0; i < 16; ++i)
            w[i] = uint32_t(data[4 * i]) << 24 | uint32_t(data[4 * i + 1]) << 16 | uint32_t(data[4 * i + 2]) << 8 | data[4 * i + 3];
        for (int i = 16; i < 64; ++i) {
            uint32_t s0 = rotr(w[i - 15], 7) ^ rotr(w[i - 15], 18) ^ (w[i - 15] >> 3);
            uint32_t s1 = rotr(w[i - 2], 17) ^ rotr(w[i - 2], 19) ^ (w[i - 2] >> 10);
            w[i] = w[i - 16] + s0 + w[i - 7] + s1;
        }
        uint32_t a = h[0], b = h[1], c = h[2], d = h[3], e = h[4], f = h[5], g = h[6], k = h[7];
        for (int i = 0; i < 64; ++i) {
            uint32_t t1 = k + (rotr(e, 6) ^ rotr(e, 11) ^ rotr(e, 25)) + ((e & f) ^ (~e & g)) + kRound[i] + w[i];
            uint32_t t2 = (rotr(a, 2) ^ rotr(a, 13) ^ rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
            k = g, g = f, f = e, e = d + t1, d = c, c = b, b = a, a = t1 + t2;
        }
        h[0] += a, h[1] += b, h[2] += c, h[3] += d, h[4] += e, h[5] += f, h[6] += g, h[7] += k;
    }
}

#ifdef KESTRABEL_SHA_NI

// The SHA instructions keep the eight working words as two vectors, {A, B, E, F} and
// {C, D, G, H} (the first named word in the highest lane); SHA256RNDS2 does two rounds with
// the two message-plus-constant words in the low half of its third operand and returns the
// new {A, B, E, F}, while the old one becomes the new {C, D, G, H}.
__attribute__((target("sha,sse4.1"))) void compressShaNi(State &h, const uint8_t *data, size_t blocks)
{
    const __m128i bigEndian = _mm_set_epi64x(0x0c0d0e0f08090a0bLL, 0x0405060700010203LL);
    __m128i abcd = _mm_loadu_si128(reinterpret_cast<const __m128i *>(&h[0]));
    __m128i efgh = _mm_loadu_si128(reinterpret_cast<const __m128i *>(&h[4]));
    __m128i badc = _mm_shuffle_epi32(abcd, 0xB1);
    __m128i hgfe = _mm_shuffle_epi32(efgh, 0x1B);
    __m128i abef = _mm_alignr_epi8(badc, hgfe, 8);
    __m128i cdgh = _mm_blend_epi16(hgfe, badc, 0xF0);
    for (; blocks; --blocks, data += 64) {
        const __m128i abefBefore = abef, cdghBefore = cdgh;
        // w[g % 4] holds the message words 4g .. 4g+3, the oldest group replaced by the next.
        __m128i w[4];
        for (int i = 0; i < 4; ++i)
            w[i] = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(data + 16 * i)), bigEndian);
#pragma GCC unroll 16
        for (int g = 0; g < 16; ++g) {
            if (g >= 4) {
                const __m128i &older = w[g & 3], &old = w[(g + 1) & 3], &recent = w[(g + 2) & 3], &last = w[(g + 3) & 3];
                __m128i partial = _mm_add_epi32(_mm_sha256msg1_epu32(older, old), _mm_alignr_epi8(last, recent, 4));
                w[g & 3] = _mm_sha256msg2_epu32(partial, last);
            }
            __m128i wk = _mm_add_epi32(w[g & 3], _mm_load_si128(reinterpret_cast<const __m128i *>(&kRound[4 * g])));
            // The first call's result is the new {A, B, E, F}; the old one, still in abef, is the new {C, D, G, H}.
            cdgh = _mm_sha256rnds2_epu32(cdgh, abef, wk);
            abef = _mm_sha256rnds2_epu32(abef, cdgh, _mm_shuffle_epi32(wk, 0x0E));
        }
        abef = _mm_add_epi32(abef, abefBefore);
        cdgh = _mm_add_epi32(cdgh, cdghBefore);
    }
    __m128i feba = _mm_shuffle_epi32(abef, 0x1B);
    __m128i dchg = _mm_shuffle_epi32(cdgh, 0xB1);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(&h[0]), _mm_blend_epi16(feba, dchg, 0xF0));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(&h[4]), _mm_alignr_epi8(dchg, feba, 8));
}

bool cpuHasShaNi()
{
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (!__get_cpuid(1, &a, &b, &c, &d) || !(c & bit_SSE4_1) || !(c & bit_SSSE3))
        return false;
    return __get_cpuid_count(7, 0, &a, &b, &c, &d) && (b & bit_SHA);
}

#endif

using Compress = void (*)(State &, const uint8_t *, size_t);

Compress compressFor(Sha256Path path)
{
#ifdef KESTRABEL_SHA_NI
    static const bool shaNi = cpuHasShaNi();
    if (path == Sha256Path::Fastest && shaNi)
        return compressShaNi;
#else
    (void)path;
#endif
    return compressPortable;
}

} // namespace

bool sha256HasCpuPath()
{
    return compressFor(Sha256Path::Fastest) != compressFor(Sha256Path::Portable);
}

std::string sha256Hex(std::span<const uint8_t> data, Sha256Path path)
{
    Compress compress = compressFor(path);
    State h = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    size_t full = data.size() / 64;
    compress(h, data.data(), full);
    uint8_t tail[128] = {};
    size_t rest = data.size() - full * 64;
    if (rest)
        std::memcpy(tail, data.data() + full * 64, rest);
    tail[rest] = 0x80;
    size_t tailLength = rest + 9 <= 64 ? 64 : 128;
    uint64_t bits = uint64_t(data.size()) * 8;
    for (int i = 0; i < 8; ++i)
        tail[tailLength - 1 - i] = static_cast<uint8_t>(bits >> (8 * i));
    compress(h, tail, tailLength / 64);
    static constexpr char kHex[] = "0123456789abcdef";
    std::string hex(64, '0');
    for (size_t i = 0; i < 64; ++i)
        hex[i] = kHex[h[i / 8] >> (28 - 4 * (i % 8)) & 15];
    return hex;
}

} // namespace kestrabel::cli
