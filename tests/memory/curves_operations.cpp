#include <memory>
#include <optional>

#include "kestrova/kestrova.h"
#include "tests/memory/operation.h"
#include "tests/support/planes.h"

namespace {

struct Rule16 final : TLutY16U {
    using TLutY16U::m_lutY_p;
    void mapPixel(ushort& y, ushort&, ushort&) override { y = static_cast<ushort>(65535 - y / 2); }
};

struct Rule final : TLutYDrDb {
    using TLutYDrDb::TLutYDrDb;
    void mapPixel(ushort& y, uchar& dr, uchar& db) override {
        dr = static_cast<uchar>(dr / 2 + y / 1024);
        db = static_cast<uchar>(255 - db);
        y = static_cast<ushort>(y / 2);
    }
};

struct Tables2D final : TLut2D {
    using TLut2D::m_tables_p;
    using TLut2D::TLut2D;
    ushort lookUp(int, uchar, uchar) const override { return 0; }
};

template <class Table>
struct Filled : Table {
    using Table::Table;
    Seen seen() const {
        const std::size_t entries = this->m_inType == CV_8UC1 ? 256 : 65536;
        return this->m_lut_p ? Seen().bytes(this->m_lut_p, entries * (this->m_outType == CV_8UC1 ? 1 : 2)) : Seen();
    }
};

using Plane = std::shared_ptr<cv::Mat>;

Plane plane(int type, std::uint32_t seed = 1, int rows = 7, int cols = 9) {
    return std::make_shared<cv::Mat>(randomPlane(rows, cols, type, seed));
}

/// Makes an object anew, in place of none.
template <class Object, class... Arguments>
Operation made(const std::string& name, Arguments... arguments) {
    return {
        name, [=] {
            const auto object = std::make_shared<std::optional<Object>>();
            return Attempt{[=] { object->emplace(arguments...); }, [=] { return Seen().value(object->has_value()); }};
        }};
}

template <class Table, class Work>
Operation onTable(const std::string& name, Work work) {
    return {name, [=] {
                const auto table = std::make_shared<Filled<Table>>();
                table->setupLinearThreshold(0.1f, -0.2f, 0.1f, 0.3f);
                return Attempt{[=] { work(*table); }, [=] { return table->seen(); }};
            }};
}

/// A holder that has its tables, or none where there is no memory: then the first use of it fails.
template <class Holder, class... Arguments>
Operation applied(const std::string& name, Arguments... arguments) {
    return {name, [=] {
                const auto image = std::make_shared<TImage>(TImage::IM_Y16U, TSize(9, 7));
                image->fromMat(randomPlane(7, 9, CV_16UC1), 0);
                return Attempt{[=] {
                                   Holder holder(arguments...);
                                   holder.setLinear();
                                   holder.apply(*image);
                               },
                               [=] { return Seen().plane(image->toMat(0)); }};
            }};
}

Operation ruled(const std::string& name, bool computed, int chromaTables, const std::function<void(Rule&)>& change) {
    return {name, [=] {
                const auto rule = std::make_shared<Rule>(chromaTables);
                if (computed) rule->setupYLUT(), rule->computeLUT();
                const Plane y = plane(CV_16UC1), dr = plane(CV_8UC1, 2), db = plane(CV_8UC1, 3);
                const Plane outY = plane(CV_8UC1, 4, 2, 3), outDr = plane(CV_8UC1, 5, 2, 3), outDb = plane(CV_8UC1, 6);
                return Attempt{[=] {
                                   change(*rule);
                                   rule->proc(*y, *dr, *db, *outY, *outDr, *outDb);
                               },
                               [=] { return Seen().plane(*outY).plane(*outDr).plane(*outDb); }};
            }};
}

}  // namespace

std::vector<Operation> curvesOperations() {
    std::vector<Operation> operations;
    operations.push_back(made<TSpline>("TSpline_TSpline", 9));
    for (int points : {3, 9}) {
        operations.push_back({"TSpline_update_" + std::to_string(points), [=] {
                                  const auto spline = std::make_shared<TSpline>(points);
                                  spline->update();
                                  spline->setCtrPoint(1, 0.2f, 0.7f);
                                  return Attempt{
                                      [=] { spline->update(); },
                                      [=] { return Seen().value(spline->value(0.15f)).value(spline->value(0.6f)); }};
                              }});
    }
    operations.push_back(made<TLut1D>("TLut1D_TLut1D", CV_16UC1, CV_16UC1));
    operations.push_back(made<TLut8U>("TLut8U_TLut8U"));
    operations.push_back(made<TLut16U>("TLut16U_TLut16U"));
    operations.push_back({"TLut1D_apply", [] {
                              const auto table = std::make_shared<TLut16U>();
                              table->setupLinearThreshold(0.1f, -0.2f, 0.1f, 0.3f);
                              const Plane in = plane(CV_16UC1), out = plane(CV_16UC1, 2);
                              return Attempt{[=] { table->apply(*in, *out); }, [=] { return Seen().plane(*out); }};
                          }});
    operations.push_back(onTable<TLut8U>("TLut8U_setupLinearThreshold",
                                         [](TLut8U& table) { table.setupLinearThreshold(0.5f, 0.7f, -0.2f, 0.1f); }));
    operations.push_back(onTable<TLut16U>("TLut16U_setupLinearThreshold",
                                          [](TLut16U& table) { table.setupLinearThreshold(0.5f, 0.7f, -0.2f, 0.1f); }));
    operations.push_back(onTable<TLut16U>("TLut16U_setupLightAdjust",
                                          [](TLut16U& table) { table.setupLightAdjust(0.5f, 0.7f, -0.2f, 0.1f); }));

    operations.push_back(applied<TLutY>("TLutY_apply"));
    operations.push_back(applied<TLutC>("TLutC_apply", 1));
    operations.push_back({"TLutC_TLutC_Tables", [] {
                              const auto held = std::make_shared<std::vector<int>>(3, -1);
                              return Attempt{[=] {
                                                 TLutC tables(3);
                                                 for (int i = 0; i < 3; ++i) (*held)[i] = tables.ptr(i) != nullptr;
                                             },
                                             [=] { return Seen(); }};
                          }});
    operations.push_back({"TLut2D_TLut2D_Tables", [] {
                              return Attempt{[=] { Tables2D tables(4); }, [=] { return Seen(); }};
                          }});

    for (bool before : {false, true}) {
        operations.push_back({std::string("TLutY16U_proc_") + (before ? "Again" : "First"), [=] {
                                  const auto rule = std::make_shared<Rule16>();
                                  const Plane y = plane(CV_16UC1), other = plane(CV_16UC1, 2);
                                  if (before) rule->proc(*other, true);
                                  return Attempt{[=] { rule->proc(*y, true); }, [=] { return Seen().plane(*y); }};
                              }});
    }
    const auto nothing = [](Rule&) {};
    operations.push_back(made<Rule>("TLutYDrDb_TLutYDrDb", 3));
    operations.push_back(ruled("TLutYDrDb_proc_First", false, 2, nothing));
    operations.push_back(ruled("TLutYDrDb_proc_Again", true, 2, nothing));
    operations.push_back(ruled("TLutYDrDb_proc_WithoutChroma", false, -1, nothing));
    operations.push_back(ruled("TLutYDrDb_setupCLUT_More", true, 1, [](Rule& rule) { rule.setupCLUT(3); }));
    operations.push_back(ruled("TLutYDrDb_setupCLUT_Fewer", true, 3, [](Rule& rule) { rule.setupCLUT(1); }));
    operations.push_back({"TLutYDrDb_applyCLUT", [] {
                              const auto rule = std::make_shared<Rule>(2);
                              rule->setupYLUT();
                              rule->computeLUT();
                              const Plane y = plane(CV_16UC1), dr = plane(CV_8UC1, 2), db = plane(CV_8UC1, 3);
                              const Plane outDr = plane(CV_8UC1, 5, 2, 3), outDb = plane(CV_8UC1, 6, 2, 3);
                              return Attempt{[=] { rule->applyCLUT(*y, *dr, *db, *outDr, *outDb); },
                                             [=] { return Seen().plane(*outDr).plane(*outDb); }};
                          }});
    operations.push_back({"TLutYDrDb_applyYLUT", [] {
                              const auto rule = std::make_shared<Rule>(2);
                              rule->setupYLUT();
                              rule->computeLUT();
                              const Plane y = plane(CV_16UC1), out = plane(CV_8UC1, 5, 2, 3);
                              return Attempt{[=] { rule->applyYLUT(*y, *out); }, [=] { return Seen().plane(*out); }};
                          }});
    document(Thrown::kTextOrAllocators, {"TSpline_", "TLut8U_setup", "TLut16U_setup"}, operations);
    return operations;
}
