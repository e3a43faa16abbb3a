// A tour of the library: each exported class and function is used once, on a picture made by a formula, and each
// subsystem has a line that says what came of it. It needs the installed library and nothing else.
#include <kestrova/kestrova.h>

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "scene.h"

namespace {

constexpr int kLinear = 2, kCubic = 4;

void say(const char* subsystem, const char* format, ...) {
    std::printf("%-10s| ", subsystem);
    va_list values;
    va_start(values, format);
    std::vprintf(format, values);
    va_end(values);
    std::puts("");
    std::fflush(stdout);
}

// ---- frame: tracing, progress, the classes of geometry

std::string traced;

void tourFrame() {
    Kestrova::setQDebugFunc([](const char* text) { traced = text; });
    char where[] = "tour";
    Kestrova::toQDebug(where, __LINE__, "hello");
    Kestrova::setQDebugFunc(nullptr);

    int reached = 0;
    TProgress progress([](int thousandths, void* seen) { return *static_cast<int*>(seen) = thousandths, true; },
                       &reached);
    progress.start(0.5f);
    progress.prog(1, 2);
    const int half = reached;
    progress.end();

    const TRect rect(TPoint(2, 1), TSize(8, 6));
    TUpdateRect changed;
    changed.setChanged(rect);
    const TImRegion region;
    say("frame", "traced \"%s\"; half of a half is %d of 1000; changed %dx%d at (%d, %d), region value %d",
        traced.c_str(), half, changed.rect().size().width, changed.rect().size().height, changed.rect().origin().x,
        changed.rect().origin().y, region.m_value);
}

// ---- pictures: both containers, pixels in and out, the edge maps

struct EdgeKeeper : TPImage {
    /// What half of the size and an edge map of one byte a pixel make of a plane.
    static cv::Mat restored(const cv::Mat& plane) {
        provideEdgeTables();
        cv::Mat half(plane.rows / 2, plane.cols / 2, CV_16UC1), edges, full;
        downSize2X(plane, half, kPyramidStep);
        fullToEdge(plane, half, edges);
        edgeToFull(edges, half, full, 2);
        return full;
    }
};

void tourPictures(const Scene& scene) {
    const int step = 4 * Scene::kWidth;
    const TSize size(Scene::kWidth, Scene::kHeight);
    const auto pixelsOf = [&](const std::vector<unsigned char>& bytes) {
        return cv::Mat(Scene::kHeight, step, CV_8UC1, const_cast<unsigned char*>(bytes.data()));
    };

    std::vector<unsigned char> back(scene.pixels.size());
    scene.picture.convertTo(back.data(), step);
    const double planar = psnr(pixelsOf(scene.pixels), pixelsOf(back));

    TImage y(TImage::IM_Y16U, size), c(TImage::IM_C8U, TImage::dec2Size(size)), m(TImage::IM_M8U, c.size());
    TImage::bgra8uToTImage(scene.pixels.data(), step, size.width, size.height, y, c, m);
    TImage::timageToBgra8u(y, c, m, back.data(), step);
    const double thin = psnr(pixelsOf(scene.pixels), pixelsOf(back));

    cv::Mat nothing;
    RGBtoYCM(nothing, nothing, nothing);
    YCMtoRGB(nothing, nothing, nothing);
    say("pictures", "%dx%d pixels in and out: TPImage %.1f dB, TImage %.1f dB; from half size and edges %.1f dB",
        size.width, size.height, planar, thin, psnr(scene.picture.m_Y, EdgeKeeper::restored(scene.picture.m_Y)));
}

// ---- resizing: a plane, and a colour plane along the edges of luminance

void tourResizing(const Scene& scene) {
    const cv::Mat &Y = scene.picture.m_Y, &dr = scene.fullDr;
    const auto plane = [](int divisor) {
        return cv::Mat(Scene::kHeight / divisor, Scene::kWidth / divisor, CV_16UC1, cv::Scalar(0));
    };
    cv::Mat half = plane(2), quarter = plane(4), twice = plane(1), fourfold = plane(1);
    downSize2X(Y, half, kCubic);
    upSize2X(half, twice, kCubic);
    downSizeNX(Y, quarter, 4, kCubic);
    upSizeNX(quarter, fourfold, 4, kLinear);

    cv::Mat framed = Y.clone();
    extendBorder(framed, 2, 2, 2, 2);

    constexpr int kRadius = 2;
    constexpr float kEps = 1e-4f;
    cv::Mat halfDr = plane(2), quarterDr = plane(4), plain = plane(1), nearest, byY, byYFour, byRGB;
    downSize2X(dr, halfDr, kCubic);
    downSizeNX(dr, quarterDr, 4, kCubic);
    upSize2X(halfDr, plain, kCubic);
    upSize2XGuidedByYSimple(Y, halfDr, nearest);
    upSize2XGuidedByY(Y, halfDr, byY, true, kCubic, kRadius, kEps);
    upSizeNXGuidedByY(Y, quarterDr, byYFour, 4, true, kCubic, kRadius, kEps);
    std::vector<cv::Mat> colours = {scene.red, scene.green, scene.blue};
    upSizeNXGuidedByRGB(colours, quarterDr, byRGB, 4, true, kCubic, kRadius, kEps);
    cv::Mat blurred = fourfold.clone();
    filterGuidedByRGB(colours, blurred, 2 * kRadius, kEps);
    say("resizing",
        "luminance from 1/2 %.1f dB, from 1/4 %.1f dB, led back to the colours' edges %.1f dB, framed %.1f dB; colour "
        "from 1/2: plain %.1f dB, nearest guide %.1f dB, guided by Y %.1f dB; from 1/4: by Y %.1f dB, by RGB %.1f dB",
        psnr(Y, twice), psnr(Y, fourfold), psnr(Y, blurred), psnr(Y, framed), psnr(dr, plain), psnr(dr, nearest),
        psnr(dr, byY), psnr(dr, byYFour), psnr(dr, byRGB));
}

// ---- free filters: blur, blend, scale, sharpen

void tourFreeFilters(const Scene& scene) {
    const cv::Mat& Y = scene.picture.m_Y;
    TImage in(TImage::IM_Y16U, TSize(Y.cols, Y.rows)), box(in.type(), in.size());
    in.fromMat(Y, 0);
    tFilterBox(&in, &box, 3, 2, nullptr);

    const cv::Mat alpha(Y.size(), CV_8UC1, cv::Scalar(128));
    cv::Mat blended, sharp;
    blendAlpha(Y, cv::Mat(Y.size(), CV_16UC1, cv::Scalar(0)), alpha, blended, 1);
    extremeSharpen(Y, sharp);
    const unsigned char grey = 100;
    unsigned char scaled = 0;
    blendC(&grey, 1, &scaled, 1, 1, 1, 1.5f);
    say("free",
        "weave of %.1f %%: blurred %.2f %%, sharpened %.1f %%; half of black leaves %.1f %% of the light; "
        "100 x 1.5 is %d",
        weave(Y), weave(box.toMat(0)), weave(sharp), 100 * cv::mean(blended)[0] / cv::mean(Y)[0], scaled);
}

// ---- curves: the spline and the tables

struct Negative final : TLutY16U {
    void mapPixel(ushort& y, ushort&, ushort&) override { y = static_cast<ushort>(65535 - y); }
};

struct Grey final : TLutYDrDb {
    void mapPixel(ushort&, uchar& dr, uchar& db) override { dr = db = 128; }
};

struct Sums final : TLut2D {
    Sums() : TLut2D(1) {}
    ushort lookUp(int, uchar x, uchar y) const override { return static_cast<ushort>(x + y); }
};

void tourCurves(const Scene& scene) {
    const cv::Mat& Y = scene.picture.m_Y;
    TSpline spline(5);
    for (int i = 0; i < 5; ++i) spline.setCtrPoint(i, 0.25f * i, 0.0625f * i * i);
    spline.update();

    cv::Mat detail8(1, 1, CV_8UC1, cv::Scalar(148)), detail16(1, 1, CV_16UC1, cv::Scalar(32768 + 5000));
    TLut8U steeper8;
    steeper8.setupLinearThreshold(0.5f, 0, 0, 0);
    TLut16U steeper16;
    steeper16.setupLinearThreshold(0.5f, 0, 0, 0);
    for (TLut1D* table : {static_cast<TLut1D*>(&steeper8), static_cast<TLut1D*>(&steeper16)})
        table->apply(table == &steeper8 ? detail8 : detail16);
    TLut16U light;
    light.setupLightAdjust(0.25f, 0, 0, 0);
    cv::Mat lit = Y.clone();
    light.apply(lit);

    cv::Mat negative = Y.clone();
    Negative().proc(negative, true);
    cv::Mat colour(Y.size(), CV_8UC1, cv::Scalar(200)), y, dr, db;
    Grey().proc(Y, colour, colour, y, dr, db);

    TImage image(TImage::IM_Y16U, TSize(Y.cols, Y.rows));
    image.fromMat(Y, 0);
    TLutY identity;
    identity.setLinear();
    identity.apply(image);
    TLutC identities(2);
    identities.setLinear();
    identities.apply(image);
    say("curves",
        "spline of x^2 at 0.6: %.4f; detail of 20 becomes %d, of 5000 %d; mean light %.2f, lit %.2f, negative %.2f; "
        "grey's Dr %d; %d identities give %.1f dB; a table of sums says 2 + 3 = %d",
        static_cast<double>(spline.value(0.6f)), detail8.at<uchar>(0, 0) - 128, detail16.at<ushort>(0, 0) - 32768,
        cv::mean(Y)[0] / 65535, cv::mean(lit)[0] / 65535, cv::mean(negative)[0] / 65535, dr.at<uchar>(0, 0),
        1 + Sums().numLuts(), psnr(Y, image.toMat(0)), Sums().lookUp(0, 2, 3));
}

// ---- edge-aware filters

void tourFilters(const Scene& scene) {
    const cv::Mat& Y = scene.picture.m_Y;
    cv::Mat y;
    Y.convertTo(y, CV_32F, 1.0 / 65535);

    cv::Mat guided, bilateral = Y.clone(), laplacian, pyramid;
    TGuidedFilter guidedFilter;
    guidedFilter.setup({y}, y, 4, 0.001f);
    guidedFilter.proc({Y}, guided);
    BilateralFilter().proc(cv::Mat(), bilateral, 8, 6554, nullptr);
    LocalLaplacian().proc16K(Y, laplacian, 0.2f, 0.3f, LocalLaplacian::levelJ(Y.rows, Y.cols, 0.25f));
    cv::Mat leastSquares = y.clone(), guide = y.clone();
    TWLSFilter leastSquaresFilter;
    leastSquaresFilter.Proc(leastSquares.ptr<float>(), y.cols, y.rows, 0.5f, 1.2f, guide.ptr<float>(), true);
    if (!leastSquaresFilter.solved()) throw std::bad_alloc();
    // A wide blur: a quarter of what is there from each scale, three quarters from the coarser ones.
    const cv::Mat binomial = (cv::Mat_<float>(1, 5) << 1, 4, 6, 4, 1) / 16, own = (cv::Mat_<float>(1, 1) << 0.5f);
    ConvPyr(binomial, 2 * std::sqrt(0.75) * binomial, own).proc(y, pyramid);

    // 4 x + y = 1 and x + 3 y = 2, the upper triangle row by row, counted from 1
    float a[] = {4, 1, 3}, b[] = {1, 2}, work[2];
    int rows[] = {1, 3, 4}, columns[] = {1, 2, 2};
    pardisoSolver(2, a, rows, columns, b, work, 1, 2);
    say("filters",
        "weave of %.1f %% and rim of %.1f %%: guided %.2f and %.1f, bilateral %.2f and %.1f, local Laplacian %.2f and "
        "%.1f, least squares %.2f and %.1f; a wide blur by a convolution pyramid leaves %.1f %% of the rim; solved "
        "x = %.4f, y = %.4f",
        weave(Y), rim(Y), weave(guided), rim(guided), weave(bilateral), rim(bilateral), weave(laplacian),
        rim(laplacian), weave(leastSquares), rim(leastSquares), rim(pyramid), static_cast<double>(b[0]),
        static_cast<double>(b[1]));
}

// ---- detail engine

void tourDetail(const Scene& scene) {
    const TPImage& picture = scene.picture;
    cv::Mat y, smooth, detail, base;
    picture.m_Y.convertTo(y, CV_32F, 1.0 / 65535);
    TGuidedFilter filter;
    filter.setup({y}, y, 4, 0.001f);
    filter.proc({picture.m_Y}, smooth);
    cv::addWeighted(picture.m_Y, 0.5, smooth, -0.5, 32768, detail);
    const cv::Mat none(detail.size(), CV_16UC1, cv::Scalar(32768));

    TVelline engine;
    engine.setup(picture.m_Y, detail, none, none, picture.m_Dr, picture.m_Db, nullptr);
    engine.m_Y = smooth;    // what the details are added to
    engine.m_k[0] = 0.25f;  // strength of the small scale
    engine.m_bChangedS = true;
    engine.proc(cv::Rect(0, 0, picture.width(), picture.height()), 1, cv::Mat());

    TColorAdjVL colour;
    colour.m_saturation = -0.5f;
    colour.m_bChanged = true;
    cv::Mat dr, db;
    colour.proc(picture.m_Y, engine.getRoiY(), engine.m_Dr, engine.m_Db, dr, db);
    const auto redness = [](const cv::Mat& plane) { return (cv::mean(plane(cv::Rect(140, 76, 40, 40)))[0] - 32768); };
    say("detail",
        "weave of %.1f %% boosted to %.1f %%, rim of %.1f %% is %.1f %%; saturation -0.5 leaves %.0f %% of red",
        weave(picture.m_Y), weave(engine.getRoiY()), rim(picture.m_Y), rim(engine.getRoiY()),
        100 * redness(dr) / redness(engine.m_Dr));
}

// ---- masks

void tourMasks(const Scene& scene) {
    TPImage picture = scene.picture;
    TDrawMask mask;
    mask.setInImage(&picture);
    mask.setValue(0);
    mask.drawStart(0, 1);
    mask.drawADot(cv::Point(160, 96), 255, 60, 30, 1, 0);
    mask.drawEnd();
    mask.proc();
    const auto share = [&] {
        const cv::Mat whole = mask.getMaskRoi(cv::Rect(0, 0, picture.width(), picture.height()), 1);
        return 100 * cv::mean(whole)[0] / 255;
    };
    const double painted = share();
    mask.undo();
    mask.proc();

    TMaskParam fill;
    fill.m_value = 255;
    const TMaskCmd command(TMaskCmd::DrawSetValue, &fill);
    say("masks", "a soft dot covers %.1f %%, after undo %.1f %%; a fill of %d is command %d", painted, share(),
        command.m_param_p->m_value, command.m_type);
}

}  // namespace

int main() {
    try {
        const Scene scene;
        tourFrame();
        tourPictures(scene);
        tourResizing(scene);
        tourFreeFilters(scene);
        tourCurves(scene);
        tourFilters(scene);
        tourDetail(scene);
        tourMasks(scene);
        return 0;
    } catch (const char* text) {  // the library's failures
        std::fprintf(stderr, "kestrova-tour: %s\n", text);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "kestrova-tour: %s\n", failure.what());
    }
    return 2;
}
