#include "GstHandle.h"

#include <QTest>

namespace {

// Notes when an object is finalised.
void noteFinalised(gpointer finalised, GObject*) {
    *static_cast<bool*>(finalised) = true;
}

}  // namespace

class tst_GstHandle : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    // A new element's floating reference becomes the handle's own: the
    // element is gone with the handle.
    void sinkingTakesTheFloatingReference() {
        bool finalised = false;
        auto element = GstHandle<GstElement>::sink(gst_element_factory_make("identity", nullptr));
        QVERIFY(element);
        QVERIFY(!g_object_is_floating(element.get()));
        QCOMPARE(GST_OBJECT_REFCOUNT_VALUE(element.get()), 1);
        g_object_weak_ref(G_OBJECT(element.get()), &noteFinalised, &finalised);
        element.reset();
        QVERIFY(finalised);
    }

    // An element in a bin is kept by the bin and by the handle, each with
    // its own reference, and goes with the last of them.
    void aBinAndAHandleEachHoldTheirOwnReference() {
        bool finalised = false;
        auto bin = GstHandle<GstElement>::sink(gst_bin_new(nullptr));
        auto element = GstHandle<GstElement>::sink(gst_element_factory_make("identity", nullptr));
        g_object_weak_ref(G_OBJECT(element.get()), &noteFinalised, &finalised);
        QVERIFY(gst_bin_add(GST_BIN(bin.get()), element.get()));
        QCOMPARE(GST_OBJECT_REFCOUNT_VALUE(element.get()), 2);
        element.reset();
        QVERIFY(!finalised);
        bin.reset();
        QVERIFY(finalised);
    }

    void sinkingNothingIsAnEmptyHandle() { QVERIFY(!GstHandle<GstElement>::sink(nullptr)); }

    // Out parameters fill owning handles.
    void outParametersFillOwningHandles() {
        GErrorHandle error;
        auto pipeline =
            GstHandle<GstElement>::sink(gst_parse_launch("no-such-element-here", Gst::out(error)));
        QVERIFY(error);
        QVERIFY(error->message);
        GCharHandle name;
        auto element = GstHandle<GstElement>::sink(gst_element_factory_make("identity", "named"));
        g_object_get(element.get(), "name", static_cast<gchar**>(Gst::out(name)), nullptr);
        QCOMPARE(name.get(), "named");
        const GstStructureHandle structure(gst_structure_new_empty("nelvo"));
        QCOMPARE(gst_structure_get_name(structure.get()), "nelvo");
    }
};

QTEST_GUILESS_MAIN(tst_GstHandle)
#include "tst_GstHandle.moc"
