# Precompiled headers: most of a Nelvo source file's compile time goes to the
# Qt and GStreamer headers it includes, so they are compiled once and shared.
#
# A precompiled header is only valid for code compiled with the macros it was
# made with, and Qt's macros follow what a target links (QT_WIDGETS_LIB, ...).
# Targets are therefore grouped by the Qt modules and packages they reach; the
# first target of a group makes the header, the others reuse it. A mismatch
# the grouping misses fails the build (-Winvalid-pch with -Werror) rather
# than silently compiling without it. Qt Test stays out of the headers: its
# macros name each test's own folders, and a header per folder would cost
# more than the little Qt Test itself takes to compile.
#
# Nelvo's own headers are never precompiled: each library still sees only its
# own headers and those of what it links. A file that forgets to include a Qt
# or standard header it uses compiles only with the headers precompiled;
# configuring with -DNELVO_PRECOMPILED_HEADERS=OFF finds it.
option(NELVO_PRECOMPILED_HEADERS "Precompile the Qt, GStreamer and standard library headers" ON)

set(NELVO_PCH_STANDARD
  <algorithm> <array> <atomic> <chrono> <cmath> <cstdint> <cstdio> <cstring> <functional>
  <memory> <mutex> <optional> <thread> <utility> <vector>)
set(NELVO_PCH_QT_CORE
  <QByteArray> <QCoreApplication> <QDateTime> <QDir> <QElapsedTimer> <QFile> <QFileInfo>
  <QHash> <QJsonArray> <QJsonDocument> <QJsonObject> <QList> <QLocale> <QObject> <QPointer>
  <QProcess> <QRegularExpression> <QSet> <QStandardPaths> <QString> <QStringList>
  <QTemporaryDir> <QThread> <QTimer> <QTimeZone> <QVariant> <QVariantMap>)
set(NELVO_PCH_QT_GUI <QGuiApplication> <QImage> <QPainter>)
set(NELVO_PCH_QT_DBUS
  <QDBusArgument> <QDBusConnection> <QDBusMessage> <QDBusPendingCallWatcher> <QDBusVariant>)
set(NELVO_PCH_QT_WIDGETS
  <QApplication> <QCheckBox> <QHBoxLayout> <QLabel> <QPushButton> <QToolButton>
  <QVBoxLayout> <QWidget>)
set(NELVO_PCH_GSTREAMER <gst/app/gstappsink.h> <gst/app/gstappsrc.h> <gst/gst.h> <gst/video/video.h>)

# What `target` links, directly or through Nelvo's libraries, that decides
# what a precompiled header for it holds and which macros it needs: Qt
# modules, GStreamer, and the packages that define macros, sorted.
function(_nelvo_pch_reach target out)
  get_target_property(pending ${target} LINK_LIBRARIES)
  set(seen)
  set(reach)
  while(pending)
    list(POP_FRONT pending item)
    # $<LINK_ONLY:...> brings no compile flags; other expressions are not used here.
    if(NOT item OR item MATCHES "^\\$<" OR item IN_LIST seen)
      continue()
    endif()
    list(APPEND seen ${item})
    if(item STREQUAL "Qt6::Test")
      continue()
    elseif(item MATCHES "^Qt6::" OR item STREQUAL "PkgConfig::GST")
      list(APPEND reach ${item})
    elseif(item MATCHES "^PkgConfig::")
      # Packages looked up in a subfolder are not visible here; those of
      # Nelvo's (gio, libsecret, xcb) add include folders only.
      if(NOT TARGET ${item})
        continue()
      endif()
      get_target_property(flags ${item} INTERFACE_COMPILE_OPTIONS)
      if(flags MATCHES "(^|;)-D")
        list(APPEND reach ${item})
      endif()
    elseif(TARGET ${item})
      get_target_property(imported ${item} IMPORTED)
      if(imported)
        list(APPEND reach ${item})
      else()
        get_target_property(next ${item} INTERFACE_LINK_LIBRARIES)
        if(next)
          list(APPEND pending ${next})
        endif()
      endif()
    endif()
  endwhile()
  list(SORT reach)
  set(${out} "${reach}" PARENT_SCOPE)
endfunction()

function(_nelvo_pch_apply target)
  get_target_property(type ${target} TYPE)
  if(NOT type MATCHES "^(STATIC_LIBRARY|EXECUTABLE)$")
    return()
  endif()
  # Targets built with flags of their own (fuzzers, the camera plug-in) keep
  # plain compiles: a shared header would not match them.
  get_target_property(options ${target} COMPILE_OPTIONS)
  get_property(common_options DIRECTORY ${PROJECT_SOURCE_DIR} PROPERTY COMPILE_OPTIONS)
  if(NOT "${options}" STREQUAL "${common_options}")
    return()
  endif()
  _nelvo_pch_reach(${target} reach)
  if(NOT reach MATCHES "Qt6::")
    return()
  endif()
  if(type STREQUAL "EXECUTABLE")
    # A program's moc file is mostly empty (a test includes its moc output
    # itself): loading the header would take longer than compiling it.
    get_target_property(folder ${target} BINARY_DIR)
    set_source_files_properties(${folder}/${target}_autogen/mocs_compilation.cpp
      TARGET_DIRECTORY ${target} PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
  endif()

  string(MD5 group_id "${reach}")
  get_property(donor GLOBAL PROPERTY NELVO_PCH_DONOR_${group_id})
  if(donor)
    target_precompile_headers(${target} REUSE_FROM ${donor})
    return()
  endif()
  set_property(GLOBAL PROPERTY NELVO_PCH_DONOR_${group_id} ${target})

  set(headers ${NELVO_PCH_STANDARD} ${NELVO_PCH_QT_CORE})
  if(reach MATCHES "Qt6::(Gui|Widgets|OpenGLWidgets)")
    list(APPEND headers ${NELVO_PCH_QT_GUI})
  endif()
  if("Qt6::DBus" IN_LIST reach)
    list(APPEND headers ${NELVO_PCH_QT_DBUS})
  endif()
  if(reach MATCHES "Qt6::(Widgets|OpenGLWidgets)")
    list(APPEND headers ${NELVO_PCH_QT_WIDGETS})
  endif()
  if("PkgConfig::GST" IN_LIST reach)
    list(APPEND headers ${NELVO_PCH_GSTREAMER})
  endif()
  list(TRANSFORM headers PREPEND "$<$<COMPILE_LANGUAGE:CXX>:")
  list(TRANSFORM headers APPEND ">")
  target_precompile_headers(${target} PRIVATE ${headers})
endfunction()

# Gives every target under `folder` its precompiled headers; called once,
# after all targets exist.
function(nelvo_precompile_headers folder)
  if(NOT NELVO_PRECOMPILED_HEADERS)
    return()
  endif()
  get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target ${targets})
    _nelvo_pch_apply(${target})
  endforeach()
  get_property(subfolders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
  foreach(subfolder ${subfolders})
    nelvo_precompile_headers(${subfolder})
  endforeach()
endfunction()
