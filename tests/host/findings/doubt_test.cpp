// SPDX-License-Identifier: Apache-2.0
#include "findings/doubt.h"

#include "findings/areas.h"
#include "findings/findings.h"
#include "host/source_images.h"
#include "support/builders.h"
#include "support/test.h"

namespace Norvane::Tests {
namespace {

using Host::DoubtMeasures;
using Host::Region;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// A good film; each case spoils one measure, which alone makes the doubt, and an alarm if it is bad enough.
TEST(Doubt, OneBadMeasureIsEnough) {
    DoubtMeasures good;
    good.trial_agreement = 0.96;
    good.outline_contrast = 0.3;
    good.raggedness = 1.06;
    good.shows_muscle = good.has_muscle = true;
    good.muscle_dice = 0.99;
    good.muscle_contrast = 0.2;
    good.muscle_reach = 0.5;
    const struct {
        std::function<void(DoubtMeasures&)> spoil;
        const char* alarm;  // a part of its sentence; empty: none
        bool is_of_muscle;
    } cases[] = {{[](DoubtMeasures& m) { m.trial_agreement = 0.0; }, "disagree", false},
                 {[](DoubtMeasures& m) { m.outline_contrast = 0.003; }, "no step", false},
                 {[](DoubtMeasures& m) { m.has_black_background = true; }, "", false},
                 {[](DoubtMeasures& m) { m.raggedness = 2.0; }, "star", false},
                 {[](DoubtMeasures& m) { m.muscle_dice = 0.952; }, "", true},
                 {[](DoubtMeasures& m) { m.muscle_contrast = 0.0; }, "", true},
                 {[](DoubtMeasures& m) { m.has_muscle = false; }, "", true},
                 {[](DoubtMeasures& m) { m.muscle_reach = 1.0; }, "--muscle refined", true}};
    EXPECT_GT(0.3, doubt_of(good).breast);
    EXPECT_GT(0.3, doubt_of(good).muscle);
    EXPECT_THAT(alarms_of(good), IsEmpty());
    for (const auto& bad : cases) {
        DoubtMeasures measures = good;
        bad.spoil(measures);
        SCOPED_TRACE(&bad - cases);
        EXPECT_EQ(bad.is_of_muscle, doubt_of(measures).muscle > 0.5);
        EXPECT_EQ(!bad.is_of_muscle, doubt_of(measures).breast > 0.5);
        const auto alarms = alarms_of(measures);
        ASSERT_EQ(*bad.alarm == 0 ? 0U : 1U, alarms.size());
        for (const std::string& sentence : alarms) EXPECT_THAT(sentence, HasSubstr(bad.alarm));
        measures.shows_muscle = false;
        EXPECT_EQ(0.0, doubt_of(measures).muscle);
    }
}

TEST(Doubt, AnOutlineIsRaggedThatRunsInAndOut) {
    const auto ragged = [](const Runs& runs) { return Host::raggedness(Region(mask_of(runs))); };
    EXPECT_EQ(0.0, ragged({}));
    EXPECT_EQ(1.0, ragged({{3, 5, 9}, {4, 5, 9}}));
    EXPECT_EQ(1.0, ragged({{3, 6, 6}, {4, 5, 7}, {5, 6, 6}}));  // a plus has no dent
    EXPECT_EQ(18.0 / 14.0,
              ragged({{0, 0, 4}, {1, 0, 0}, {1, 2, 2}, {1, 4, 4}}));  // a comb: 14 sides of its box and 4 in its dents
}

TEST(Doubt, AnInvertedPhantomRaisesAlarmAndResultsTakeTheChosenMuscle) {
    const auto phantom = Host::draw_phantom({750, 1000, 220.0});
    Host::AnalysisOptions options;
    const auto exact = analyse(source_of(phantom), options);
    EXPECT_GT(0.5, exact.doubt.breast);
    EXPECT_GT(0.5, exact.doubt.muscle);
    EXPECT_THAT(exact.warnings, IsEmpty());
    EXPECT_EQ(exact.masks.pectoral.region, exact.masks.muscle());
    EXPECT_EQ(exact.masks.full.region, exact.masks.joined());

    options.muscle = Host::MuscleBorderChoice::kRefined;
    const auto refined = analyse(source_of(phantom), options);
    EXPECT_EQ(exact.masks.pectoral.region, refined.masks.pectoral.region);
    EXPECT_EQ(refined.masks.refined.region, refined.masks.muscle());
    const Host::FoundMasks& masks = refined.masks;
    EXPECT_EQ(masks.breast.region.area() + masks.muscle().area() - common_area(masks.breast.region, masks.muscle()),
              masks.joined().area());

    options.side = SIDE_CHEST_LEFT;
    Host::SourceImage negative = inverted(source_of(phantom));
    negative.needs_inversion = false;  // as if the file did not say it
    EXPECT_THAT(analyse(negative, options).warnings, ::testing::Contains(HasSubstr("give --invert")));
    options.is_inverted = true;
    EXPECT_THAT(analyse(negative, options).warnings, IsEmpty());
}

}  // namespace
}  // namespace Norvane::Tests
