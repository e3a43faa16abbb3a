#pragma once

#include <opencv2/core.hpp>

#include <memory>

#include "kestrova/export.h"

/// Tables made of a rule for single pixels. A derived class supplies the rule, `mapPixel`; the base samples it
/// sparsely, enlarges the samples linearly into full tables, and applies these to planes.
///
/// `mapPixel` is called from several threads at once: it must not write to shared state and must not throw. Planes are
/// luminance Y, `CV_16UC1`, and chroma Dr and Db, `CV_8UC1` with zero at 128. Copies share their tables.

/// The rule for luminance alone, at neutral chroma, sampled at every sixteenth level.
class KESTROVA_EXPORT TLutY16U {
public:
    /// Maps `inOutY16U` in place; with `update` the table is computed anew first, which the first call must ask for.
    /// Always true. Throws for a plane that is not `CV_16UC1`.
    bool proc(cv::Mat& inOutY16U, bool update);

protected:
    /// Without a table.
    TLutY16U();
    /// Shares the table of `other`.
    TLutY16U(const TLutY16U& other);
    TLutY16U& operator=(const TLutY16U& other);
    ~TLutY16U();

    /// The rule, on the 16-bit scale with neutral chroma 0x7FFF; only `y` is taken back.
    virtual void mapPixel(ushort& y, ushort& dr, ushort& db) = 0;

    /// Allocates the table if it is null.
    void setupYLUT();
    /// Computes the table anew; does nothing if `update` is false or the table is null.
    void computeLUT16U(bool update);
    /// Looks `inY` up into `outY`, which gets its size and type; in place is fine. Throws if the table is null or `inY`
    /// is not `CV_16UC1`.
    void applyYLUT(const cv::Mat& inY, cv::Mat& outY);

    ushort* m_lutY_p;  ///< 65536 entries

private:
    std::shared_ptr<void> m_owner;  ///< keeps the table for all objects that share it
};

/// The rule for luminance and chroma. 1 to 32 chroma tables belong to as many bands of luminance; each maps a pair of
/// Dr and Db, sampled at every second level of both.
class KESTROVA_EXPORT TLutYDrDb {
public:
    /// 1 << `nc` chroma tables, at most 32; none if `nc` is negative.
    explicit TLutYDrDb(int nc = 4);
    /// Shares the tables of `other`.
    TLutYDrDb(const TLutYDrDb& other);
    TLutYDrDb& operator=(const TLutYDrDb& other);

    /// The rule; the Y table takes `y` back, the chroma tables `dr` and `db`.
    virtual void mapPixel(ushort& y, uchar& dr, uchar& db) = 0;

    /// Allocates the Y table if it is null.
    void setupYLUT();
    /// Sets the number of chroma tables to 1 << min(nc, 5) and allocates what is missing. Tables beyond that number are
    /// released; their pointers stay in the slots, stale, and are never used again. Returns `numCLUT()`.
    int setupCLUT(int nc);
    /// The number of chroma tables, 0 to 32.
    int numCLUT();
    /// Computes all tables anew. Without a Y table there is one chroma table at most.
    void computeLUT();
    /// As `TLutY16U::applyYLUT`.
    void applyYLUT(const cv::Mat& inY, cv::Mat& outY);
    /// Looks chroma up in the first table; in place is fine. The outputs get the size of `inDr`. Throws if there is no
    /// table, or the inputs are not `CV_8UC1` planes of one size.
    void applyCLUT(const cv::Mat& inDr, const cv::Mat& inDb, cv::Mat& outDr, cv::Mat& outDb);
    /// Looks chroma up in the table of each pixel's luminance; with one table alone it is the form above, and `inY` is
    /// not read. A luminance at the very start of its band gets twice the band's result less the next band's, each
    /// byte cut to its low 8 bits; in the top band, the result of the band below. Throws if there is no table, or the
    /// planes do not fit each other.
    void applyCLUT(const cv::Mat& inY, const cv::Mat& inDr, const cv::Mat& inDb, cv::Mat& outDr, cv::Mat& outDb);

    /// Computes the tables and maps luminance in place. Always true. Throws for a plane that is not `CV_16UC1`.
    bool proc(cv::Mat& inOutY16U);
    /// Computes the tables and maps whole pixels, chroma read against the luminance before. Without chroma tables the
    /// chroma outputs stay untouched. Always true. Throws for planes of other types or of different sizes.
    bool proc(const cv::Mat& inY16U, const cv::Mat& inDr8U, const cv::Mat& inDb8U, cv::Mat& outY16U, cv::Mat& outDr8U,
              cv::Mat& outDb8U);

protected:
    ~TLutYDrDb();

    ushort* m_lutY_p;      ///< 65536 entries
    int m_NC;              ///< base-two logarithm of the number of chroma tables, at most 5; negative for none
    ushort* m_CLUT_p[32];  ///< tables of 65536 entries (new Dr << 8) | new Db, indexed by (Dr << 8) | Db

private:
    std::shared_ptr<void> m_yOwner;      ///< keeps the Y table for all objects that share it
    std::shared_ptr<void> m_cOwner[32];  ///< the same for the chroma tables
};
