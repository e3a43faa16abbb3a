#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "photo/development_state.h"
#include "photo/noise.h"
#include "photo/read.h"
#include "tests/photo/pictures.h"

namespace kestrova::photo {
namespace {

constexpr int kSize = 768;
const cv::Rect kSky(60, 60, 260, 600), kTexture(440, 60, 260, 600);

double towardsCorner(int x, int y) {
    return (std::pow(x - kSize / 2, 2) + std::pow(y - kSize / 2, 2)) / (kSize * kSize / 2.0);
}

/// Grey: on the left a plain sky that brightens downwards, on the right the same with texture; noise everywhere, whose
/// standard deviation is in parts of 255. It, and the texture, are 1 + falloff times that in the corners.
cv::Mat skyAndTexture(double noise, double texture, double falloff = 0) {
    std::mt19937 random(3);
    std::normal_distribution<double> grain(0, noise);
    cv::Mat out(kSize, kSize, CV_16UC4);
    for (int y = 0; y < kSize; ++y)
        for (int x = 0; x < kSize; ++x) {
            const double weave = x < kSize / 2 ? 0 : texture * std::sin(x * 1.9) * std::sin(y * 1.7);
            const double brightened = 1 + falloff * towardsCorner(x, y);
            const auto v =
                cv::saturate_cast<ushort>((110 + 50.0 * y / kSize + brightened * (weave + grain(random))) * 257);
            out.at<cv::Vec4w>(y, x) = cv::Vec4w(v, v, v, 65535);
        }
    return out;
}

/// Deviation from the mean of each row, so that gradients do not count.
double deviation(const cv::Mat& pixels, const cv::Rect& where) {
    double squares = 0;
    for (int y = where.y; y < where.y + where.height; ++y) {
        const cv::Vec2d row = meanAndDeviation(pixels, {where.x, y, where.width, 1}, 1);
        squares += row[1] * row[1];
    }
    return std::sqrt(squares / where.height);
}

Settings boosted(float small, float medium = 0) {
    Settings settings;
    settings.small = allZones(small);
    settings.medium = allZones(medium);
    return settings;
}

/// The same rendering if everything were taken for texture.
cv::Mat renderedWithNoise(const Photograph& photograph, const Settings& settings) {
    Development development(photograph);
    development.set(settings);
    rendered16(development, {0, 0, 10, 10});
    for (const Reduced& texture : development.m_state->prepared.scales->texture) cv::Mat(texture.plane).setTo(1);
    return rendered16(development);
}

TEST(Noise, OfAPlainSkyStaysWhereTextureGains) {
    for (double noise : {1.0, 2.0, 4.0})
        for (const Settings& settings : {boosted(0.5f), boosted(0.5f, 0.5f)}) {
            // Texture of twice the noise: sines across sines have half of their amplitude.
            const cv::Mat in = skyAndTexture(noise, 4 * noise), out = rendered16(in, settings);
            const cv::Mat noisy = renderedWithNoise(photographOf(in), settings);
            EXPECT_LE(deviation(out, kSky) / deviation(in, kSky), 1.15) << noise;
            EXPECT_GE(deviation(noisy, kSky) / deviation(in, kSky), 1.4) << "there is something to keep quiet";
            const double before = deviation(in, kTexture);
            EXPECT_GE(deviation(out, kTexture) - before, 0.9 * (deviation(noisy, kTexture) - before)) << noise;
        }
}

TEST(Noise, StaysWhereItIsStrongerInTheCorners) {
    const cv::Rect corners[] = {{0, 0, 130, 130}, {0, 638, 130, 130}}, texture(638, 0, 130, 130);
    for (double falloff : {0.5, 1.0}) {
        const cv::Mat in = skyAndTexture(2, 8, falloff), out = rendered16(in, boosted(0.5f));
        const cv::Mat noisy = renderedWithNoise(photographOf(in), boosted(0.5f));
        for (const cv::Rect& sky : {corners[0], corners[1], kSky})
            EXPECT_LE(deviation(out, sky) / deviation(in, sky), 1.15) << falloff << sky;
        const double before = deviation(in, texture);
        EXPECT_GE(deviation(out, texture) - before, 0.9 * (deviation(noisy, texture) - before)) << falloff;
    }
}

TEST(Noise, FalloffIsFoundAndNotImagined) {
    // As energies of small cells would be: their noise scatters by some 5 percent.
    std::mt19937 random(8);
    std::normal_distribution<double> scatter(1, 0.05);
    for (double falloff : {0.0, 0.3, 0.7, 1.0})
        for (bool subject : {false, true}) {
            CellEnergies cells = {cv::Mat(96, 144, CV_32FC1), cv::Mat(96, 144, CV_32FC1), {}, 0};
            for (int y = 0; y < 96; ++y)
                for (int x = 0; x < 144; ++x) {
                    const double way = (std::pow(x - 71.5, 2) + std::pow(y - 47.5, 2)) / (72 * 72 + 48 * 48);
                    const double noise = 0.004 * (1 + falloff * way) * scatter(random);
                    const bool texture = subject && (x / 12 + y / 12) % 2;
                    cells.detail.at<float>(y, x) = static_cast<float>(std::pow(texture ? 5 * noise : noise, 2));
                    cells.level.at<float>(y, x) = 0.2f + 0.6f * static_cast<float>(x % 48) / 48;
                }
            EXPECT_NEAR(measureFalloff(cells), falloff, 0.1) << subject;
        }
    // A picture without noise has none; one of a few cells says nothing.
    const cv::Mat none = cv::Mat::zeros(96, 144, CV_32FC1), grey(96, 144, CV_32FC1, cv::Scalar(0.5));
    EXPECT_EQ(measureFalloff({none, grey, {}, 0}), 0);
    EXPECT_EQ(measureFalloff({none(cv::Rect(0, 0, 3, 2)), grey(cv::Rect(0, 0, 3, 2)), {}, 0}), 0);
}

TEST(Noise, IsNotBoostedInPatchesWhereItIsUneven) {
    // Blocks of 24 pixels whose noise is up to half as strong again, as cameras that take some of it away leave it.
    std::mt19937 random(12);
    std::uniform_real_distribution<double> strength(1, 1.5);
    const cv::Mat even = skyAndTexture(2, 0);
    cv::Mat in = even.clone();
    for (int by = 0; by < kSize; by += 24)
        for (int bx = 0; bx < kSize; bx += 24) {
            const double factor = strength(random);
            for (int y = by; y < by + 24; ++y)
                for (int x = bx; x < bx + 24; ++x) {
                    const double plain = (110 + 50.0 * y / kSize) * 257;
                    const auto v = cv::saturate_cast<ushort>(plain + factor * (even.at<cv::Vec4w>(y, x)[1] - plain));
                    in.at<cv::Vec4w>(y, x) = cv::Vec4w(v, v, v, 65535);
                }
        }
    const cv::Mat out = rendered16(in, boosted(0.6f, 0.6f));
    for (int y = 0; y < kSize; y += 48)
        for (int x = 0; x < kSize; x += 48) {
            const cv::Rect block(x, y, 48, 48);
            EXPECT_LE(deviation(out, block) / deviation(in, block), 1.15) << block;
        }
}

TEST(Noise, HasNoIsolatedDotsAfterABoost) {
    const cv::Mat in = skyAndTexture(3, 12), out = rendered16(in, boosted(0.6f));
    const double before = deviation(in, kSky);
    int dots = 0;
    for (int y = kSky.y; y < kSky.y + kSky.height; ++y) {
        const double mean = meanAndDeviation(out, {kSky.x, y, kSky.width, 1}, 1)[0];
        for (int x = kSky.x; x < kSky.x + kSky.width; ++x)
            dots += std::abs(out.at<cv::Vec4w>(y, x)[1] / 257.0 - mean) > 6 * before;
    }
    EXPECT_EQ(dots, 0);
}

TEST(Noise, OfLuminanceGoesAndTextureStays) {
    Settings settings;
    settings.noise.luminance = 1;
    for (double noise : {2.0, 4.0}) {
        const cv::Mat in = skyAndTexture(noise, 6 * noise), out = rendered16(in, settings);
        EXPECT_LE(deviation(out, kSky), 0.35 * deviation(in, kSky)) << noise;
        EXPECT_GE(deviation(out, kTexture), 0.93 * deviation(in, kTexture)) << noise;
        // What is left is not mottled: means over 16 x 16 pixels scatter no more than before.
        double before = 0, after = 0;
        for (int y = kSky.y; y + 16 <= kSky.y + kSky.height; y += 16)
            for (int x = kSky.x; x + 32 <= kSky.x + kSky.width; x += 16) {
                const auto step = [&](const cv::Mat& m) {
                    return meanAndDeviation(m, {x, y, 16, 16}, 1)[0] - meanAndDeviation(m, {x + 16, y, 16, 16}, 1)[0];
                };
                before += step(in) * step(in);
                after += step(out) * step(out);
            }
        EXPECT_LE(after, 1.1 * before) << noise;
    }
    double last = 1e9;
    for (float amount : {0.0f, 0.25f, 0.5f, 0.75f, 1.0f}) {
        settings.noise.luminance = amount;
        const double now = deviation(rendered16(skyAndTexture(3, 12), settings), kSky);
        EXPECT_LT(now, last);
        last = now;
    }
}

TEST(Noise, OfColourGoesAndColoursStay) {
    std::mt19937 random(5);
    std::normal_distribution<double> grain(0, 6 * 257);
    cv::Mat in(400, 600, CV_16UC4);
    for (int y = 0; y < in.rows; ++y)
        for (int x = 0; x < in.cols; ++x) {
            const double red = x < 300 ? 0 : 12000;
            const double u = grain(random), v = grain(random);
            in.at<cv::Vec4w>(y, x) = cv::Vec4w(cv::saturate_cast<ushort>(30000 - red + u),
                                               cv::saturate_cast<ushort>(30000 - 0.2 * u - 0.5 * v),
                                               cv::saturate_cast<ushort>(30000 + red + v), 65535);
        }
    Settings settings;
    settings.noise.colour = 1;
    const cv::Mat out = rendered16(in, settings);
    const auto chroma = [](const cv::Mat& m, const cv::Rect& where) {
        double sum = 0, squares = 0;
        for (int y = where.y; y < where.y + where.height; ++y)
            for (int x = where.x; x < where.x + where.width; ++x) {
                const auto p = m.at<cv::Vec4w>(y, x);
                const double c = (p[2] - p[0]) / 257.0;
                sum += c;
                squares += c * c;
            }
        const double mean = sum / where.area();
        return cv::Vec2d(mean, std::sqrt(squares / where.area() - mean * mean));
    };
    const cv::Rect grey(50, 50, 200, 300), red(350, 50, 200, 300);
    for (const cv::Rect& where : {grey, red}) {
        EXPECT_LE(chroma(out, where)[1], 0.35 * chroma(in, where)[1]);
        EXPECT_NEAR(chroma(out, where)[0], chroma(in, where)[0], 2);
    }
    // The edge between the colours is where it was: not blurred over more than some pixels.
    EXPECT_NEAR(chroma(out, {285, 50, 6, 300})[0], chroma(in, grey)[0], 8);
    EXPECT_NEAR(chroma(out, {309, 50, 6, 300})[0], chroma(in, red)[0], 8);
}

/// How crisp a part is: the root mean square of neighbours' differences.
double crispness(const cv::Mat& m, const cv::Rect& where) {
    double squares = 0;
    for (int y = where.y; y < where.y + where.height; ++y)
        for (int x = where.x; x < where.x + where.width; ++x)
            squares += std::pow(m.at<cv::Vec4w>(y, x)[1] - m.at<cv::Vec4w>(y, x + 1)[1], 2);
    return std::sqrt(squares / where.area());
}

TEST(Noise, OfABundledPhotographsMeadowStaysAndItsFlowerGains) {
    const Photograph photograph = readPhotograph(KESTROVA_PHOTOS "/dandelion_5312x2988.jpg");
    Development development(photograph);
    development.set(boosted(0.6f));
    // Out of focus, in the middle and at the sides, where the camera's noise is half as strong again.
    for (const cv::Rect& meadow :
         {cv::Rect(240, 500, 400, 600), cv::Rect(2600, 1000, 500, 600), cv::Rect(4600, 2500, 512, 320)}) {
        const cv::Mat out = rendered16(development, meadow);
        int boosted = 0, blocks = 0;
        for (int y = 0; y + 32 <= meadow.height; y += 32)
            for (int x = 0; x + 32 < meadow.width; x += 32, ++blocks) {
                const cv::Rect block(x, y, 31, 32);
                boosted += crispness(out, block) > 1.15 * crispness(photograph.pixels, block + meadow.tl());
            }
        EXPECT_LE(boosted, 0.02 * blocks) << meadow;
    }
    const cv::Rect flower(1000, 500, 1000, 700), inside(0, 0, 999, 700);
    const cv::Mat out = rendered16(development, flower);
    for (const Reduced& texture : development.m_state->prepared.scales->texture) cv::Mat(texture.plane).setTo(1);
    development.m_state->kept.clear();
    const cv::Mat noisy = rendered16(development, flower);
    const double before = crispness(photograph.pixels(flower), inside);
    EXPECT_GE(crispness(out, inside) - before, 0.95 * (crispness(noisy, inside) - before));
    EXPECT_GT(crispness(noisy, inside), 1.2 * before);
}

TEST(Noise, OfABundledPhotographsSkyStays) {
    const Photograph photograph = bundled("dandelion_768x512");
    // The evenest of its parts.
    cv::Rect plain;
    double least = 1e9;
    for (int y = 0; y + 48 <= photograph.pixels.rows; y += 16)
        for (int x = 0; x + 48 <= photograph.pixels.cols; x += 16) {
            const cv::Vec2d m = meanAndDeviation(photograph.pixels, {x, y, 48, 48}, 1);
            if (m[0] < 40 || m[0] > 230 || m[1] > least) continue;
            least = m[1];
            plain = {x, y, 48, 48};
        }
    Development development(photograph);
    development.set(boosted(0.5f));
    const cv::Mat out = rendered16(development);
    EXPECT_LE(deviation(out, plain) / deviation(photograph.pixels, plain), 1.15) << plain;
    const cv::Rect hairs(170, 90, 120, 120);
    const double before = crispness(photograph.pixels, hairs);
    const double gain = crispness(out, hairs) - before,
                 most = crispness(renderedWithNoise(photograph, boosted(0.5f)), hairs) - before;
    EXPECT_GE(gain, 0.9 * most);
    EXPECT_GT(most, 0.1 * before);
}

}  // namespace
}  // namespace kestrova::photo
