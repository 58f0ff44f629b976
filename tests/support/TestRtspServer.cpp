// A network camera for tests: an RTSP server (gst-rtsp-server) that streams a
// moving test picture as H.264 (or H.265) with AAC sound, over TCP, UDP or
// both, with or without a password (basic or digest). The password is read
// from a file, so it never shows in the process list.
//
//   nelvo-test-rtsp-server [--port N] [--path /cam] [--protocols tcp|udp|both]
//       [--auth none|basic|digest --credentials-file FILE] [--size WxH]
//       [--fps N] [--key-int N] [--codec h264|h265] [--bitrate KBIT]
//       [--loss PERCENT] [--scene colors|snow]
//
// Prints "listening on PORT" once clients can connect. The picture stands
// still; SIGUSR1 makes it move for three seconds.
#include <glib-unix.h>
#include <gst/gst.h>
#include <gst/rtsp-server/rtsp-server.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

namespace {

struct Options {
    int port = 0;
    std::string path = "/cam";
    std::string protocols = "both";
    std::string auth = "none";
    std::string credentialsFile;
    int width = 1280;
    int height = 720;
    int fps = 30;
    int keyInterval = 45;
    std::string codec = "h264";
    int bitrate = 2000;
    int lossPercent = 0;  // of the video's RTP packets, dropped at random
    // The still picture; snow keeps the encoder at its full bit rate.
    std::string scene = "colors";
};

int lossPercent = 0;

bool readCredentials(const std::string& path, std::string& user, std::string& password) {
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        if (line.rfind("user=", 0) == 0) {
            user = line.substr(5);
        } else if (line.rfind("password=", 0) == 0) {
            password = line.substr(9);
        }
    }
    return !user.empty();
}

GstElement* scene = nullptr;  // the picture's source, once a client asked for it
std::string stillPattern = "colors";

// Drops the share of packets asked for, as a lossy network would.
GstPadProbeReturn dropSome(GstPad*, GstPadProbeInfo* info, gpointer) {
    if (GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER) {
        return g_random_int_range(0, 100) < lossPercent ? GST_PAD_PROBE_DROP : GST_PAD_PROBE_OK;
    }
    GstBufferList* list = gst_buffer_list_make_writable(GST_PAD_PROBE_INFO_BUFFER_LIST(info));
    for (guint i = gst_buffer_list_length(list); i-- > 0;) {
        if (g_random_int_range(0, 100) < lossPercent) {
            gst_buffer_list_remove(list, i, 1);
        }
    }
    GST_PAD_PROBE_INFO_DATA(info) = list;
    return GST_PAD_PROBE_OK;
}

void onMediaConfigure(GstRTSPMediaFactory*, GstRTSPMedia* media, gpointer) {
    GstElement* element = gst_rtsp_media_get_element(media);
    if (lossPercent > 0) {
        GstElement* payloader = gst_bin_get_by_name(GST_BIN(element), "pay0");
        GstPad* pad = gst_element_get_static_pad(payloader, "src");
        gst_pad_add_probe(
            pad, GstPadProbeType(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_BUFFER_LIST),
            &dropSome, nullptr, nullptr);
        gst_object_unref(pad);
        gst_object_unref(payloader);
    }
    if (scene) {
        gst_object_unref(scene);
    }
    scene = gst_bin_get_by_name(GST_BIN(element), "scene");
    gst_object_unref(element);
}

gboolean standStill(gpointer) {
    if (scene) {
        gst_util_set_object_arg(G_OBJECT(scene), "pattern", stillPattern.c_str());
    }
    return G_SOURCE_REMOVE;
}

gboolean move(gpointer) {
    if (scene) {
        gst_util_set_object_arg(G_OBJECT(scene), "pattern", "ball");
        g_timeout_add(3000, &standStill, nullptr);
    }
    return G_SOURCE_CONTINUE;
}

std::string launchLine(const Options& o) {
    const bool h265 = o.codec == "h265";
    // Constrained Baseline (x264's ultrafast) and a keyframe every key-int
    // frames: unlike anything Nelvo's own encoder makes (High profile, a
    // keyframe every second), so a test can tell the camera's stream.
    std::string encoder =
        h265 ? "x265enc tune=zerolatency speed-preset=ultrafast key-int-max=" +
                   std::to_string(o.keyInterval) + " bitrate=" + std::to_string(o.bitrate) +
                   " ! h265parse ! rtph265pay name=pay0 pt=96 config-interval=-1"
             : "x264enc tune=zerolatency speed-preset=ultrafast bframes=0 key-int-max=" +
                   std::to_string(o.keyInterval) + " bitrate=" + std::to_string(o.bitrate) +
                   " ! h264parse ! rtph264pay name=pay0 pt=96 "
                   "config-interval=-1";
    return "( videotestsrc name=scene is-live=true pattern=" + o.scene + " motion=wavy ! "
           "video/x-raw,width=" +
           std::to_string(o.width) + ",height=" + std::to_string(o.height) +
           ",framerate=" + std::to_string(o.fps) + "/1 ! " + encoder +
           " audiotestsrc is-live=true wave=ticks ! audioconvert ! avenc_aac ! "
           "rtpmp4gpay name=pay1 pt=97 )";
}

}  // namespace

int main(int argc, char** argv) {
    gst_init(&argc, &argv);
    Options o;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string key = argv[i];
        const std::string value = argv[i + 1];
        if (key == "--port") {
            o.port = std::atoi(value.c_str());
        } else if (key == "--path") {
            o.path = value;
        } else if (key == "--protocols") {
            o.protocols = value;
        } else if (key == "--auth") {
            o.auth = value;
        } else if (key == "--credentials-file") {
            o.credentialsFile = value;
        } else if (key == "--size") {
            std::sscanf(value.c_str(), "%dx%d", &o.width, &o.height);
        } else if (key == "--fps") {
            o.fps = std::atoi(value.c_str());
        } else if (key == "--key-int") {
            o.keyInterval = std::atoi(value.c_str());
        } else if (key == "--codec") {
            o.codec = value;
        } else if (key == "--bitrate") {
            o.bitrate = std::atoi(value.c_str());
        } else if (key == "--scene") {
            o.scene = value;
            stillPattern = value;
        } else if (key == "--loss") {
            o.lossPercent = std::atoi(value.c_str());
        } else {
            std::fprintf(stderr, "unknown option %s\n", key.c_str());
            return 2;
        }
    }

    lossPercent = o.lossPercent;
    GstRTSPServer* server = gst_rtsp_server_new();
    gst_rtsp_server_set_address(server, "127.0.0.1");
    gst_rtsp_server_set_service(server, std::to_string(o.port).c_str());
    GstRTSPMediaFactory* factory = gst_rtsp_media_factory_new();
    gst_rtsp_media_factory_set_launch(factory, launchLine(o).c_str());
    gst_rtsp_media_factory_set_shared(factory, TRUE);
    g_signal_connect(factory, "media-configure", G_CALLBACK(&onMediaConfigure), nullptr);
    g_unix_signal_add(SIGUSR1, &move, nullptr);
    GstRTSPLowerTrans protocols =
        GstRTSPLowerTrans(GST_RTSP_LOWER_TRANS_TCP | GST_RTSP_LOWER_TRANS_UDP);
    if (o.protocols == "tcp") {
        protocols = GST_RTSP_LOWER_TRANS_TCP;
    } else if (o.protocols == "udp") {
        protocols = GST_RTSP_LOWER_TRANS_UDP;
    }
    gst_rtsp_media_factory_set_protocols(factory, protocols);

    if (o.auth != "none") {
        std::string user;
        std::string password;
        if (!readCredentials(o.credentialsFile, user, password)) {
            std::fprintf(stderr, "no user in the credentials file\n");
            return 2;
        }
        GstRTSPAuth* auth = gst_rtsp_auth_new();
        GstRTSPToken* token =
            gst_rtsp_token_new(GST_RTSP_TOKEN_MEDIA_FACTORY_ROLE, G_TYPE_STRING, "user", nullptr);
        if (o.auth == "digest") {
            gst_rtsp_auth_add_digest(auth, user.c_str(), password.c_str(), token);
            gst_rtsp_auth_set_supported_methods(auth, GST_RTSP_AUTH_DIGEST);
        } else {
            gchar* basic = gst_rtsp_auth_make_basic(user.c_str(), password.c_str());
            gst_rtsp_auth_add_basic(auth, basic, token);
            g_free(basic);
            gst_rtsp_auth_set_supported_methods(auth, GST_RTSP_AUTH_BASIC);
        }
        gst_rtsp_token_unref(token);
        gst_rtsp_media_factory_add_role(factory, "user", GST_RTSP_PERM_MEDIA_FACTORY_ACCESS,
                                        G_TYPE_BOOLEAN, TRUE, GST_RTSP_PERM_MEDIA_FACTORY_CONSTRUCT,
                                        G_TYPE_BOOLEAN, TRUE, nullptr);
        gst_rtsp_server_set_auth(server, auth);
        g_object_unref(auth);
    }

    GstRTSPMountPoints* mounts = gst_rtsp_server_get_mount_points(server);
    gst_rtsp_mount_points_add_factory(mounts, o.path.c_str(), factory);
    g_object_unref(mounts);
    if (gst_rtsp_server_attach(server, nullptr) == 0) {
        std::fprintf(stderr, "could not listen on port %d\n", o.port);
        return 1;
    }
    std::printf("listening on %d\n", gst_rtsp_server_get_bound_port(server));
    std::fflush(stdout);
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    g_main_loop_run(loop);
    return 0;
}
