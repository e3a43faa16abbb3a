#pragma once

#include <opencv2/core.hpp>

#include <memory>

#include "kestrova/export.h"

class TImage;  // kestrova/image/timage.h

/// \file
/// Holders of 16-bit tables for a host that fills them itself. A table has 65536 entries; their contents are undefined
/// until the host or `setLinear` fills them. Copies share the tables, and the last object that shares a table releases
/// it: pointers to a table are valid until then. A table for which there was no memory is null, which no constructor
/// reports. Several threads may `apply` one table to different images at once.

/// One table of 65536 entries.
class KESTROVA_EXPORT TLutY {
public:
    /// One table, null without memory.
    TLutY();
    /// Shares the table of `other`.
    TLutY(const TLutY& other);
    /// Shares the table of `other`.
    TLutY& operator=(const TLutY& other);
    /// Releases the table, unless others share it.
    ~TLutY();

    /// The table, to be read and filled; null without memory.
    ushort* ptr();
    /// Entry i = i. Without a table it does nothing.
    void setLinear();
    /// Replaces each pixel v of the first plane by table[v], in place. Of an interleaved image of words, as many words
    /// of each row are replaced as it has pixels; the stamp stays. An image without pixels is ignored. Throws "ERROR -
    /// TLutY::apply - !m_table_p" without a table, "ERROR - TLutY::apply - image not of 16-bit words" for planes of
    /// bytes and for views at odd addresses.
    void apply(TImage& image);

protected:
    ushort* m_table_p;  ///< 65536 entries, or null

private:
    std::shared_ptr<ushort> m_owner;  ///< keeps the table for all objects that share it
};

/// Up to 32 tables of 65536 entries.
class KESTROVA_EXPORT TLutC {
public:
    /// min(n, 32) tables; none if `n` < 1. Those without memory are null.
    explicit TLutC(int n);
    /// Shares the tables of `other`.
    TLutC(const TLutC& other);
    /// Shares the tables of `other`.
    TLutC& operator=(const TLutC& other);
    /// Releases the tables that no others share.
    ~TLutC();

    /// Table `i`; there must be that many, which is not checked. Null without memory.
    ushort* ptr(int i);
    /// Entry i = i in every table.
    void setLinear();
    /// As `TLutY::apply`, with table 0. Throws "ERROR - TLutC::apply - m_num<1 || !m_tables_p[0]" without a table,
    /// "ERROR - TLutC::apply - image not of 16-bit words".
    void apply(TImage& image);
    /// Computes `in.halfY8U()` and drops it; `out` stays as it is. This is the whole of the operation, intentionally.
    /// Throws `int` 0 if `in` is no 16-bit plane.
    void apply(const TImage& in, TImage& out);

protected:
    int m_num;               ///< number of tables, at most 32; as given if below 1
    ushort* m_tables_p[32];  ///< the first `m_num`; the others are never set, nor copied

private:
    std::shared_ptr<ushort> m_owners[32];  ///< keep the tables for all objects that share them
};

/// Up to 16 tables over two 8-bit coordinates. How they are indexed and what they mean is defined by the derived class.
class KESTROVA_EXPORT TLut2D {
public:
    /// min(n, 16) tables; none if `n` < 1. Those without memory are null.
    explicit TLut2D(int n = 16);
    /// Shares the tables of `other`.
    TLut2D(const TLut2D& other);
    /// Shares the tables of `other`.
    TLut2D& operator=(const TLut2D& other);

    /// The value of table `lut` at a pair of coordinates. Nothing in the library calls it.
    virtual ushort lookUp(int lut, uchar x, uchar y) const = 0;

    /// The number of tables that the constructor was asked for, which may be above 16.
    int numLuts();
    /// A hook that does nothing.
    void apply(const cv::Mat& in, cv::Mat& out0, cv::Mat& out1);

protected:
    /// Releases the tables that no others share.
    ~TLut2D();

    int m_num;               ///< as given to the constructor
    ushort* m_tables_p[16];  ///< the first `m_num`, the others null

private:
    /// A hook that does nothing.
    void computeLUT();

    std::shared_ptr<ushort> m_owners[16];  ///< keep the tables for all objects that share them
};
