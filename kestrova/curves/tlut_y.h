#pragma once

#include <opencv2/core.hpp>

#include <memory>

#include "kestrova/export.h"

/// \file
/// Tables made of a rule for single pixels. A derived class supplies the rule, `mapPixel`; the base samples it
/// sparsely, enlarges the samples linearly into full tables, and applies these to planes.
///
/// `mapPixel` is called from several threads at once: it must not write to shared state and must not throw. Planes are
/// luminance Y, `CV_16UC1`, and chroma Dr and Db, `CV_8UC1` with zero at 128. Copies share their tables, and the last
/// object that shares a table releases it.
///
/// Failures are texts; both classes' name `TLutYDrDb`. Without memory the text ends in "not enough memory"; tables and
/// outputs are then as they were. One object serves one thread at a time.

/// The rule for luminance alone, at neutral chroma, sampled at every sixteenth level.
class KESTROVA_EXPORT TLutY16U {
public:
    /// Maps `inOutY16U` in place; with `update` the table is computed anew first, which the first call must ask for.
    /// Always true. Throws "ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1", and as `applyYLUT`.
    bool proc(cv::Mat& inOutY16U, bool update);

protected:
    /// A table whose entries are undefined.
    TLutY16U();
    /// Shares the table of `other`.
    TLutY16U(const TLutY16U& other);
    /// Shares the table of `other`.
    TLutY16U& operator=(const TLutY16U& other);
    /// Releases the table, unless others share it.
    ~TLutY16U();

    /// The rule, on the 16-bit scale with neutral chroma 0x7FFF; only `y` is taken back.
    virtual void mapPixel(ushort& y, ushort& dr, ushort& db) = 0;

    /// Allocates the table if it is null. Throws "ERROR - TLutY16U::setupYLUT - not enough memory".
    void setupYLUT();
    /// Computes the table anew; does nothing if `update` is false or the table is null. Level 16 i + 8 + k lies
    /// (2k + 1) / 32 of the way from sample i to the next, and the ends repeat the end samples: an identity rule gives
    /// values 7 levels below the identity, and 65520 for white.
    void computeLUT16U(bool update);
    /// Looks `inY` up into `outY`, which gets its size and type; in place is fine. Throws "ERROR - TLutYDrDb::applyYLUT
    /// - !m_lutY_p" and "ERROR -  TLutYDrDb::applyYLUT(const Mat &inY, Mat &outY) - inY.type() != CV_16UC1".
    void applyYLUT(const cv::Mat& inY, cv::Mat& outY);

    ushort* m_lutY_p;  ///< 65536 entries

private:
    std::shared_ptr<void> m_owner;  ///< keeps the table for all objects that share it
};

/// The rule for luminance and chroma. 1 to 32 chroma tables belong to as many bands of luminance; each maps a pair of
/// Dr and Db, sampled at every second level of both and in the middle of the band.
class KESTROVA_EXPORT TLutYDrDb {
public:
    /// 1 << `nc` chroma tables, at most 32; none if `nc` is negative. All entries are undefined.
    explicit TLutYDrDb(int nc = 4);
    /// Shares the tables of `other`.
    TLutYDrDb(const TLutYDrDb& other);
    /// Shares the tables of `other`.
    TLutYDrDb& operator=(const TLutYDrDb& other);

    /// The rule, `y` on the 16-bit scale, `dr` and `db` with zero at 128; the Y table takes `y` back, the chroma tables
    /// `dr` and `db`.
    virtual void mapPixel(ushort& y, uchar& dr, uchar& db) = 0;

    /// Allocates the Y table if it is null. Throws "ERROR - TLutYDrDb::setupYLUT - not enough memory".
    void setupYLUT();
    /// Sets the number of chroma tables to 1 << min(nc, 5), 0 if `nc` is negative, and allocates those that are
    /// missing. Tables beyond that number are released; their pointers stay in the slots, stale, and are never used
    /// again. Returns `numCLUT()`. Throws "ERROR - TLutYDrDb::setupCLUT - not enough memory".
    int setupCLUT(int nc);
    /// The number of chroma tables, 0 to 32.
    int numCLUT();
    /// Computes all tables anew, in 16384 calls of `mapPixel` a chroma table and 4096 for the Y table. Without a Y
    /// table a single chroma table is computed, and several are not.
    void computeLUT();
    /// As `TLutY16U::applyYLUT`.
    void applyYLUT(const cv::Mat& inY, cv::Mat& outY);
    /// Looks chroma up in the first table; in place is fine. The outputs get the size of `inDr`. Throws "ERROR -
    /// TLutYDrDb::applyCLUT - m_NC<1 " without a table, "ERROR -TLutYDrDb::applyCLUT: inDr.type() !=inDb_p.type() ||
    /// inDr.type() != CV_8UC1", and if `inDb` is smaller than `inDr`.
    void applyCLUT(const cv::Mat& inDr, const cv::Mat& inDb, cv::Mat& outDr, cv::Mat& outDb);
    /// Looks chroma up in the table of each pixel's luminance; with one table alone it is the form above, and `inY` is
    /// not read. A luminance at the very start of its band gets twice the band's result less the next band's, each
    /// byte cut to its low 8 bits; in the top band, the result of the band below. Throws if there is no table, or if
    /// `inY` or `inDb` is smaller than `inDr`; types are not checked.
    void applyCLUT(const cv::Mat& inY, const cv::Mat& inDr, const cv::Mat& inDb, cv::Mat& outDr, cv::Mat& outDb);

    /// Computes the tables and maps luminance in place. Always true. Throws "ERROR - TLutYDrDb::proc -
    /// inOutY16U.type()!=CV_16UC1".
    bool proc(cv::Mat& inOutY16U);
    /// Computes the tables and maps whole pixels, chroma read against the luminance before; outputs may be inputs.
    /// Without chroma tables the chroma outputs stay untouched. Always true. Throws "ERROR - TLutYDrDb::proc -
    /// inY16U.type()!=CV_16UC1 || inDr8U.type!=CV_8UC1 || inDb8U.type()!=CV_8UC1" and "ERROR - TLutYDrDb::proc
    /// inY16U.size != inDr8U.size || inY16U.size!= inDb8U.size".
    bool proc(const cv::Mat& inY16U, const cv::Mat& inDr8U, const cv::Mat& inDb8U, cv::Mat& outY16U, cv::Mat& outDr8U,
              cv::Mat& outDb8U);

protected:
    /// Releases the tables that no others share.
    ~TLutYDrDb();

    ushort* m_lutY_p;      ///< 65536 entries
    int m_NC;              ///< base-two logarithm of the number of chroma tables, at most 5; negative for none
    ushort* m_CLUT_p[32];  ///< tables of 65536 entries (new Dr << 8) | new Db, indexed by (Dr << 8) | Db

private:
    std::shared_ptr<void> m_yOwner;      ///< keeps the Y table for all objects that share it
    std::shared_ptr<void> m_cOwner[32];  ///< the same for the chroma tables
};
