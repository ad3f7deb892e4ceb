#pragma once
// Brings levels into scan order where only bytes of the same 128-bit lane can be shuffled. A kernel
// file that includes it defines storeScanned() before.

namespace speedhq {
namespace {

/// bytes[k]: levels 16k to 16k + 15 of each lane's block, as the transform leaves them.
inline void storeLevels(const Vec (&bytes)[4], int block, MacroblockLevels& levels) {
    Vec scanned[4];
    for (unsigned quarter = 0; quarter < 4; ++quarter) {
        scanned[quarter] = bitOr(shuffle(bytes[1], load(&kScanShuffles[quarter][1])),
                                 shuffle(bytes[2], load(&kScanShuffles[quarter][2])));
        if (quarter < 3) {
            scanned[quarter] =
                bitOr(scanned[quarter], shuffle(bytes[0], load(&kScanShuffles[quarter][0])));
        }
        if (quarter > 0) {
            scanned[quarter] =
                bitOr(scanned[quarter], shuffle(bytes[3], load(&kScanShuffles[quarter][3])));
        }
    }
    storeScanned(scanned, block, levels);
}

}  // namespace
}  // namespace speedhq
