#pragma once

#include <opencv2/core.hpp>

#include <memory>

#include "kestrova/export.h"

class TImage;

/// Holders of 16-bit tables for a host that fills them itself. A table has 65536 entries; their contents are undefined
/// until the host or `setLinear` fills them. Copies share the tables. A table for which there was no memory is null.
/// Several threads may `apply` one table to different images at once.

/// One table.
class KESTROVA_EXPORT TLutY {
public:
    /// One table.
    TLutY();
    /// Shares the table of `other`.
    TLutY(const TLutY& other);
    TLutY& operator=(const TLutY& other);
    ~TLutY();

    /// The table.
    ushort* ptr();
    /// Entry i = i.
    void setLinear();
    /// Replaces each pixel v of the first plane by table[v], in place. Of an interleaved image, as many words of each
    /// row are replaced as it has pixels; the stamp stays. An image without pixels is let pass.
    /// Throws "ERROR - TLutY::apply - !m_table_p" without a table,
    /// "ERROR - TLutY::apply - image not of 16-bit words" for planes of bytes and for views at odd addresses.
    void apply(TImage& image);

protected:
    ushort* m_table_p;  ///< 65536 entries

private:
    std::shared_ptr<ushort> m_owner;  ///< keeps the table for all objects that share it
};

/// Up to 32 tables.
class KESTROVA_EXPORT TLutC {
public:
    /// min(n, 32) tables; none if `n` < 1.
    explicit TLutC(int n);
    /// Shares the tables of `other`.
    TLutC(const TLutC& other);
    TLutC& operator=(const TLutC& other);
    ~TLutC();

    /// Table `i`; there must be that many.
    ushort* ptr(int i);
    /// Entry i = i in every table.
    void setLinear();
    /// As `TLutY::apply`, with table 0. Throws "ERROR - TLutC::apply - m_num<1 || !m_tables_p[0]" without a table,
    /// "ERROR - TLutC::apply - image not of 16-bit words".
    void apply(TImage& image);
    /// Computes `in.halfY8U()` and drops it; `out` stays as it is. This is the whole of the operation, and it is meant.
    /// Throws `int` 0 if `in` is no 16-bit plane.
    void apply(const TImage& in, TImage& out);

protected:
    int m_num;               ///< number of tables, at most 32; as given if below 1
    ushort* m_tables_p[32];  ///< the first `m_num`; the others are never set

private:
    std::shared_ptr<ushort> m_owners[32];  ///< keep the tables for all objects that share them
};

/// Up to 16 tables over two 8-bit coordinates. How they are indexed and what they mean is the derived class's own.
class KESTROVA_EXPORT TLut2D {
public:
    /// min(n, 16) tables; none if `n` < 1.
    explicit TLut2D(int n = 16);
    /// Shares the tables of `other`.
    TLut2D(const TLut2D& other);
    TLut2D& operator=(const TLut2D& other);

    /// The value of table `lut` at a pair of coordinates. Nothing in the library calls it.
    virtual ushort lookUp(int lut, uchar x, uchar y) const = 0;

    /// The number of tables that the constructor was asked for, which may be above 16.
    int numLuts();
    /// A hook that does nothing.
    void apply(const cv::Mat& in, cv::Mat& out0, cv::Mat& out1);

protected:
    ~TLut2D();

    int m_num;               ///< as given to the constructor
    ushort* m_tables_p[16];  ///< the first `m_num`, the others null

private:
    /// A hook that does nothing.
    void computeLUT();

    std::shared_ptr<ushort> m_owners[16];  ///< keep the tables for all objects that share them
};
