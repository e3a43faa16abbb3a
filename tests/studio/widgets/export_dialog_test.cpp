#include "studio/widgets/export_dialog.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QSettings>
#include <QSpinBox>
#include <filesystem>

#include "studio/widgets/pixels.h"
#include "tests/photo/files.h"
#include "tests/studio/widgets/hand.h"

namespace kestrova::studio {
namespace {

namespace fs = std::filesystem;

class ExportDialogTest : public testing::Test {
protected:
    ExportDialogTest() { QSettings().clear(); }
    ~ExportDialogTest() override { QSettings().clear(); }

    QString make(const std::string& name) {
        fs::create_directories(fs::path(scratch / name).parent_path());
        photo::writeBytes(scratch / name, {1});
        return path(name);
    }
    QString path(const std::string& name) const { return fileName(scratch / name); }

    photo::Scratch scratch;
};

void choose(QComboBox* box, const QString& text) {
    box->setCurrentText(text);
    ASSERT_EQ(box->currentText(), text);
    emit box->activated(box->currentIndex());
}

TEST_F(ExportDialogTest, ExportsBesideThePhotographByDefault) {
    const QString a = make("a.jpg");
    ExportDialog dialog({a}, {a});
    EXPECT_EQ(dialog.problem(), "");
    const auto jobs = dialog.jobs([](const QString&) { return photo::Settings(); });
    ASSERT_EQ(jobs.size(), 1u);
    EXPECT_EQ(jobs[0].source, a);
    EXPECT_FALSE(jobs[0].replace);
    EXPECT_EQ(jobs[0].target, path("exported/a.jpg"));
    EXPECT_EQ(jobs[0].options.format, photo::FileFormat::jpeg);
    EXPECT_EQ(jobs[0].options.quality, 92);
    EXPECT_EQ(jobs[0].options.bits, 0);
    EXPECT_FALSE(jobs[0].options.profile);
    EXPECT_EQ(jobs[0].options.metadata, photo::MetadataChoice::all);
    dialog.accept();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
}

TEST_F(ExportDialogTest, RefusesToReplaceAnOriginal) {
    const QString a = make("a.jpg"), other = make("other.jpg");
    ExportDialog dialog({a}, {a, other});
    dialog.m_folder->setText(path("."));
    dialog.m_replace->setChecked(true);
    for (const QString name : {"a", "other"}) {
        dialog.m_name->setText(name);
        EXPECT_TRUE(dialog.m_problem->text().contains("original")) << dialog.m_problem->text().toStdString();
        dialog.accept();
        EXPECT_NE(dialog.result(), QDialog::Accepted);
    }
    ASSERT_EQ(::symlink("a.jpg", (scratch / "link.jpg").c_str()), 0);
    dialog.m_name->setText("link");
    dialog.accept();
    EXPECT_NE(dialog.result(), QDialog::Accepted);
    dialog.m_name->setText("new");
    dialog.accept();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
}

TEST_F(ExportDialogTest, ReplacesOtherFilesOnlyIfAskedTo) {
    const QString a = make("a.jpg");
    ExportDialog dialog({a}, {a});
    make("out/a.jpg");
    dialog.m_folder->setText(path("out"));
    EXPECT_NE(dialog.problem(), "");
    dialog.accept();
    EXPECT_NE(dialog.result(), QDialog::Accepted);
    dialog.m_replace->setChecked(true);
    EXPECT_EQ(dialog.problem(), "");
    EXPECT_TRUE(dialog.jobs([](const QString&) { return photo::Settings(); })[0].replace);
    dialog.accept();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
}

TEST_F(ExportDialogTest, LooksOnceMoreWhenItIsAccepted) {
    const QString a = make("a.jpg");
    ExportDialog dialog({a}, {a});
    EXPECT_EQ(dialog.m_problem->text(), "");
    make("exported/a.jpg");
    dialog.accept();
    EXPECT_NE(dialog.result(), QDialog::Accepted);
    EXPECT_NE(dialog.m_problem->text(), "");
}

TEST_F(ExportDialogTest, ReplacingIsNotRemembered) {
    const QString a = make("a.jpg");
    ExportDialog first({a}, {a});
    first.m_replace->setChecked(true);
    first.accept();
    EXPECT_FALSE(ExportDialog({a}, {a}).m_replace->isChecked());
}

TEST_F(ExportDialogTest, RefusesNamesThatMeet) {
    const QString jpg = make("a.jpg"), png = make("a.png");
    ExportDialog dialog({jpg, png}, {jpg, png});
    EXPECT_TRUE(dialog.problem().contains("would both become"));
    dialog.m_name->setText("{name}_small");
    EXPECT_TRUE(dialog.problem().contains("would both become"));
    const QString b = make("b.png");
    ExportDialog other({jpg, b}, {jpg, b});
    EXPECT_EQ(other.problem(), "");
    other.m_name->setText("same");
    EXPECT_TRUE(other.problem().contains("would both become"));
}

TEST_F(ExportDialogTest, RefusesNamesAndFoldersThatCannotBe) {
    const QString a = make("a.jpg");
    ExportDialog dialog({a}, {a});
    for (const QString name : {"", "  ", "x/y", "../x"}) {
        dialog.m_name->setText(name);
        EXPECT_NE(dialog.problem(), "") << name.toStdString();
    }
    dialog.m_name->setText("x");
    EXPECT_EQ(dialog.problem(), "");
    for (const QString& folder : {QString(""), QString("relative"), a, a + "/below"}) {
        dialog.m_folder->setText(folder);
        EXPECT_NE(dialog.problem(), "") << folder.toStdString();
    }
}

TEST_F(ExportDialogTest, OffersWhatTheFormatHolds) {
    const QString a = make("a.jpg");
    ExportDialog dialog({a}, {a});
    choose(dialog.m_bits, "16 bits a channel");
    EXPECT_FALSE(dialog.m_bits->isEnabled());
    EXPECT_TRUE(dialog.m_quality->isEnabled());
    EXPECT_EQ(dialog.options().bits, 0);
    choose(dialog.m_format, "TIFF");
    EXPECT_TRUE(dialog.m_bits->isEnabled());
    EXPECT_FALSE(dialog.m_quality->isEnabled());
    EXPECT_EQ(dialog.options().bits, 16);
    EXPECT_EQ(dialog.targets().targetOf(a), path("exported/a.tif"));
}

TEST_F(ExportDialogTest, ItsChoiceReachesTheJobs) {
    const QString a = make("a.jpg"), b = make("b.jpg");
    ExportDialog dialog({a, b}, {a, b});
    choose(dialog.m_format, "WebP");
    choose(dialog.m_profile, "Display P3");
    choose(dialog.m_metadata, "None");
    dialog.m_quality->setValue(55);
    dialog.m_resize->setChecked(true);
    dialog.m_size->setValue(1000);
    dialog.m_name->setText("web_{name}");
    const auto jobs = dialog.jobs([&](const QString& photograph) {
        photo::Settings settings;
        settings.light.contrast = photograph == a ? 0.1f : 0.2f;
        return settings;
    });
    ASSERT_EQ(jobs.size(), 2u);
    EXPECT_EQ(jobs[1].target, path("exported/web_b.webp"));
    EXPECT_EQ(jobs[0].settings.light.contrast, 0.1f);
    EXPECT_EQ(jobs[1].settings.light.contrast, 0.2f);
    EXPECT_EQ(jobs[1].settings.size, 1000);
    EXPECT_EQ(jobs[1].options.quality, 55);
    EXPECT_EQ(*jobs[1].options.profile, photo::Profile::displayP3());
    EXPECT_EQ(jobs[1].options.metadata, photo::MetadataChoice::none);
}

TEST_F(ExportDialogTest, WithoutAResizeTheSettingsKeepTheirSize) {
    const QString a = make("a.jpg");
    const ExportDialog dialog({a}, {a});
    photo::Settings settings;
    settings.size = 640;
    EXPECT_EQ(dialog.jobs([&](const QString&) { return settings; })[0].settings.size, 640);
}

TEST_F(ExportDialogTest, OffersAgainWhatWasChosenLast) {
    const QString a = make("a.jpg");
    {
        ExportDialog dialog({a}, {a});
        choose(dialog.m_format, "PNG");
        choose(dialog.m_profile, "sRGB");
        dialog.m_quality->setValue(33);
        dialog.m_folder->setText(path("elsewhere"));
        dialog.accept();
    }
    const ExportDialog dialog({a}, {a});
    EXPECT_EQ(dialog.m_format->currentText(), "PNG");
    EXPECT_EQ(*dialog.options().profile, photo::Profile::srgb());
    EXPECT_EQ(dialog.m_quality->value(), 33);
    EXPECT_EQ(dialog.targets().folder, path("elsewhere"));
}

TEST_F(ExportDialogTest, NothingIsRememberedOfACancelledOne) {
    const QString a = make("a.jpg");
    {
        ExportDialog dialog({a}, {a});
        choose(dialog.m_format, "PNG");
        dialog.reject();
    }
    EXPECT_EQ(ExportDialog({a}, {a}).m_format->currentText(), "JPEG");
}

TEST_F(ExportDialogTest, EveryFieldHasAName) {
    const QString a = make("a.jpg");
    const ExportDialog dialog({a}, {a});
    for (const QWidget* field : std::initializer_list<const QWidget*>{
             dialog.m_format, dialog.m_bits, dialog.m_quality, dialog.m_qualitySlider, dialog.m_size, dialog.m_profile,
             dialog.m_metadata, dialog.m_folder, dialog.m_name})
        EXPECT_NE(field->accessibleName(), "");
}

TEST_F(ExportDialogTest, WhatIsDamagedInTheSettingsOfTheProgramIsAsAtFirst) {
    for (const char* key : {"export/quality", "export/size", "export/format"}) QSettings().setValue(key, "damaged");
    QSettings().setValue("export/resize", true);
    const ExportDialog dialog({make("a.png")}, {});
    EXPECT_EQ(dialog.options().quality, 92);
    EXPECT_EQ(dialog.size(), 2048);
    EXPECT_EQ(dialog.options().format, photo::FileFormat::jpeg);
}

}  // namespace
}  // namespace kestrova::studio
