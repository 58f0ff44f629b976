#pragma once

#include <QObject>
#include <optional>

typedef struct _GSettings GSettings;

// GNOME's Do Not Disturb switch: the desktop's notification banners turned
// off ("show-banners" of org.gnome.desktop.notifications). Followed through
// GSettings' change notification, delivered on the main loop; never polled.
// Where the schema is not installed there is no switch to follow.
class GnomeDoNotDisturb : public QObject {
    Q_OBJECT

public:
    explicit GnomeDoNotDisturb(QObject* parent = nullptr);
    ~GnomeDoNotDisturb() override;

    // Whether Do Not Disturb is on; nothing where GNOME's switch is unknown.
    std::optional<bool> isOn() const;

Q_SIGNALS:
    void changed();

private:
    static void keyChanged(GSettings* settings, const char* key, void* self);

    GSettings* settings_ = nullptr;
    unsigned long handler_ = 0;
};
