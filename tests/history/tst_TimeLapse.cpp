#include "FileOutputManager.h"
#include "TimeLapse.h"

#include <QTest>

using TimeLapse::Frame;
using TimeLapse::Source;

namespace {

const QString folder = QStringLiteral("/rec/");

QString path(const QString& name) {
    return folder + name;
}

QDateTime startOf(const QString& name) {
    return *FileOutputManager::startDate(name);
}

std::vector<double> offsetsOf(const std::vector<Frame>& frames) {
    std::vector<double> offsets;
    for (const Frame& frame : frames) {
        if (frame.source.kind == Source::Kind::movie) {
            offsets.push_back(frame.source.offset);
        }
    }
    return offsets;
}

}  // namespace

class tst_TimeLapse : public QObject {
    Q_OBJECT

    const QString movie_ = QStringLiteral("2024-05-01 22.15.00 - Front Door + Desk Mic.mov");
    const QString still_ = QStringLiteral("2024-05-01 22.15.00 - Front Door + Desk Mic.jpg");

    std::vector<Frame> framesOfOneMovie(std::optional<double> duration) {
        TimeLapse::Durations durations;
        if (duration) {
            durations.insert(path(movie_), *duration);
        }
        return TimeLapse::frames({Event{startOf(movie_), {path(still_), path(movie_)}}}, durations);
    }

private Q_SLOTS:
    void aMovieGivesAPictureEveryTwoSecondsWhileBeforeItsEnd() {
        QCOMPARE(offsetsOf(framesOfOneMovie(7)), (std::vector<double>{0, 2, 4, 6}));
        QCOMPARE(offsetsOf(framesOfOneMovie(6)), (std::vector<double>{0, 2, 4}));
        QCOMPARE(offsetsOf(framesOfOneMovie(0.5)), (std::vector<double>{0}));
    }

    void aMovieOfZeroOrUnknownDurationGivesItsStillOnly() {
        const Frame stillOnly{Source::still(path(still_)), startOf(movie_), "Front Door"};
        QCOMPARE(framesOfOneMovie(0), (std::vector<Frame>{stillOnly}));
        QCOMPARE(framesOfOneMovie(-1), (std::vector<Frame>{stillOnly}));
        QCOMPARE(framesOfOneMovie(std::nullopt), (std::vector<Frame>{stillOnly}));
    }

    void theStillComesFirstThenThePicturesAtTheirMoments() {
        const QDateTime start = startOf(movie_);
        const std::optional<QString> camera = QStringLiteral("Front Door");
        QCOMPARE(framesOfOneMovie(3),
                 (std::vector<Frame>{{Source::still(path(still_)), start, camera},
                                     {Source::movie(path(movie_), 0), start, camera},
                                     {Source::movie(path(movie_), 2), start.addSecs(2), camera}}));
    }

    void twoCamerasInterleaveByTimeAndEqualTimesFollowThePath() {
        // Listed with the later-sorting path first: the order comes from the paths.
        const QString usb = QStringLiteral("2024-05-01 22.15.00 - USB Camera + Desk Mic.mov");
        const QString usbLater = QStringLiteral("2024-05-01 22.15.01 - USB Camera + Desk Mic.mov");
        const QString front = movie_;
        const QDateTime start = startOf(front);
        TimeLapse::Durations durations{{path(usb), 1}, {path(usbLater), 4}, {path(front), 5}};
        const std::vector<Frame> frames = TimeLapse::frames(
            {Event{start, {path(usbLater), path(usb), path(front), path(still_)}}}, durations);
        const std::optional<QString> frontName = QStringLiteral("Front Door");
        const std::optional<QString> usbName = QStringLiteral("USB Camera");
        QCOMPARE(frames, (std::vector<Frame>{
                             {Source::still(path(still_)), start, frontName},
                             {Source::movie(path(front), 0), start, frontName},
                             {Source::movie(path(usb), 0), start, usbName},
                             {Source::movie(path(usbLater), 0), start.addSecs(1), usbName},
                             {Source::movie(path(front), 2), start.addSecs(2), frontName},
                             {Source::movie(path(usbLater), 2), start.addSecs(3), usbName},
                             {Source::movie(path(front), 4), start.addSecs(4), frontName},
                         }));
        QVERIFY(TimeLapse::hasSeveralCameras(frames));
    }

    void eventsAreSortedIntoOneTimeline() {
        const QString early = QStringLiteral("2024-05-01 22.15.00 - Cam.mov");
        const QString late = QStringLiteral("2024-05-01 22.16.00 - Cam.mov");
        const std::vector<Frame> frames = TimeLapse::frames(
            {Event{startOf(late), {path(late)}}, Event{startOf(early), {path(early)}}},
            {{path(early), 1}, {path(late), 1}});
        QCOMPARE(frames.size(), 2u);
        QCOMPARE(frames.at(0).source, Source::movie(path(early), 0));
        QCOMPARE(frames.at(1).source, Source::movie(path(late), 0));
    }

    void aMovieWhoseStillWasDeletedGivesMoviePicturesOnly() {
        TimeLapse::Durations durations{{path(movie_), 4}};
        const std::vector<Frame> frames =
            TimeLapse::frames({Event{startOf(movie_), {path(movie_)}}}, durations);
        QCOMPARE(frames.size(), 2u);
        for (const Frame& frame : frames) {
            QCOMPARE(frame.source.kind, Source::Kind::movie);
        }
    }

    void aStillIsFoundUnderItsStandardizedPath() {
        const std::vector<Frame> frames = TimeLapse::frames(
            {Event{startOf(movie_), {QStringLiteral("/rec/./sub/../") + still_, path(movie_)}}},
            {});
        QCOMPARE(frames.size(), 1u);
        QCOMPARE(frames.at(0).source, Source::still(path(still_)));
    }

    void stillsWithoutAMovieAndOtherFilesAddNothing() {
        const QString other = QStringLiteral("2024-05-01 22.15.00 - Front Door + Desk Mic.txt");
        QVERIFY(TimeLapse::frames({Event{startOf(movie_), {path(still_), path(other)}}},
                                  {{path(other), 10}})
                    .empty());
    }

    void anUpperCaseExtensionIsAMovieToo() {
        const QString upper = QStringLiteral("2024-05-01 22.15.00 - Front Door.MOV");
        QCOMPARE(
            TimeLapse::frames({Event{startOf(upper), {path(upper)}}}, {{path(upper), 1}}).size(),
            1u);
    }

    void eventsWhoseMoviesLackAStartGiveNoFrames() {
        const QString noDate = QStringLiteral("Front Door + Desk Mic.mov");
        const QString badDate = QStringLiteral("2024-13-45 99.15.00 - Front Door.mov");
        const QString noDateStill = QStringLiteral("Front Door + Desk Mic.jpg");
        QVERIFY(TimeLapse::frames({Event{QDateTime::currentDateTime(),
                                         {path(noDate), path(noDateStill), path(badDate)}}},
                                  {{path(noDate), 10}, {path(badDate), 10}})
                    .empty());
        QVERIFY(TimeLapse::frames({}, {}).empty());
    }

    void theCameraNameComesFromTheDevicePart() {
        QCOMPARE(TimeLapse::cameraName(movie_), std::optional<QString>("Front Door"));
        // A frame-loss mark and no microphone.
        QCOMPARE(TimeLapse::cameraName("2024-05-01 22.15.00 - Front Door - 3s missing.mov"),
                 std::optional<QString>("Front Door"));
        QCOMPARE(TimeLapse::cameraName("2024-05-01 22.15.00 - Front Door + Mic - 12s missing.mov"),
                 std::optional<QString>("Front Door"));
        // The mark only counts at the end.
        QCOMPARE(TimeLapse::cameraName("2024-05-01 22.15.00 - Cam - 3s missing yard + Mic.mov"),
                 std::optional<QString>("Cam - 3s missing yard"));
        QCOMPARE(TimeLapse::cameraName("2024-05-01 22.15.00 - \t Porch  \t.mov"),
                 std::optional<QString>("Porch"));
        // Only a microphone in the device part comes out as the camera.
        QCOMPARE(TimeLapse::cameraName("2024-05-01 22.15.00 - Desk Mic.mov"),
                 std::optional<QString>("Desk Mic"));
    }

    void namesWithoutACameraGiveNone() {
        QCOMPARE(TimeLapse::cameraName("2024-05-01 22.15.00.mov"), std::nullopt);
        QCOMPARE(TimeLapse::cameraName("2024-05-01 22.15.00 -  + Mic.mov"), std::nullopt);
        QCOMPARE(TimeLapse::cameraName("2024-05-01 22.15.00 - 3s missing.mov"),
                 std::optional<QString>("3s missing"));
        QCOMPARE(TimeLapse::cameraName(""), std::nullopt);
    }

    void severalCamerasCountOnlyNamedOnes() {
        const QDateTime t = QDateTime::currentDateTime();
        const Frame a{Source::still("/a.jpg"), t, "A"};
        const Frame a2{Source::movie("/a.mov", 2), t, "A"};
        const Frame b{Source::still("/b.jpg"), t, "B"};
        const Frame unnamed{Source::still("/c.jpg"), t, std::nullopt};
        QVERIFY(!TimeLapse::hasSeveralCameras({}));
        QVERIFY(!TimeLapse::hasSeveralCameras({a, a2}));
        QVERIFY(!TimeLapse::hasSeveralCameras({a, unnamed, a2}));
        QVERIFY(!TimeLapse::hasSeveralCameras({unnamed}));
        QVERIFY(TimeLapse::hasSeveralCameras({a, unnamed, b}));
    }

    // How long a movie can have run follows from the names alone: until the
    // next recording of its camera, or the end of the stretch, plus the
    // allowance; other cameras' recordings do not bound it.
    void movieRunsAreBoundedByTheirNeighbours() {
        const QString first = path("2024-05-01 22.15.00 - Front Door + Desk Mic.mov");
        const QString firstStill = path("2024-05-01 22.15.00 - Front Door + Desk Mic.jpg");
        const QString yard = path("2024-05-01 22.15.30 - Yard.mov");
        const QString second = path("2024-05-01 22.20.00 - Front Door + Desk Mic - 3s missing.mov");
        const QString unnamed = path("2024-05-01 22.16.00.mov");
        const std::vector<Event> events{
            {startOf("2024-05-01 22.15.00.mov"), {first, firstStill, yard}},
            {startOf("2024-05-01 22.16.00.mov"), {unnamed}},
            {startOf("2024-05-01 22.20.00.mov"), {second}}};
        const QDateTime end = startOf("2024-05-01 22.30.00.mov");
        const TimeLapse::Durations longest = TimeLapse::longestRuns(events, end);
        QCOMPARE(longest.size(), 4);
        QCOMPARE(longest.value(first), 300 + TimeLapse::runAllowance);
        QCOMPARE(longest.value(second), 600 + TimeLapse::runAllowance);
        QCOMPARE(longest.value(yard), 870 + TimeLapse::runAllowance);
        QCOMPARE(longest.value(unnamed), 840 + TimeLapse::runAllowance);
        QVERIFY(!longest.contains(firstStill));

        // A header claiming weeks gives the pictures the bound allows, no more.
        TimeLapse::Durations claimed{{first, 3e6}};
        claimed[first] = std::min(claimed[first], longest.value(first));
        const std::vector<Frame> frames = TimeLapse::frames({events[0]}, claimed);
        QCOMPARE(offsetsOf(frames).size(), std::size_t((300 + TimeLapse::runAllowance) / 2));
    }
};

QTEST_GUILESS_MAIN(tst_TimeLapse)
#include "tst_TimeLapse.moc"
