<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
    <name>AboutWindow</name>
    <message>
        <source>About Nelvo</source>
        <extracomment>Title of the About window</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo</source>
        <extracomment>The application&apos;s name in the About window</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Records what moves and what sounds while you are away.</source>
        <extracomment>About window, under the version</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Version %1</source>
        <extracomment>About window; the argument is the version number</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>AppDelegate</name>
    <message>
        <source>Nelvo is arming itself</source>
        <extracomment>Notification title: Nelvo armed itself when it was opened</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>It will start watching in a few seconds. Open Nelvo to stop it.</source>
        <extracomment>Notification body: Nelvo armed itself when it was opened</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>CameraFileCheck</name>
    <message>
        <source>no such file</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>it is a folder</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>permission denied</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>it holds no video Nelvo can decode</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>CommandLine</name>
    <message>
        <source>Nelvo records movies when its cameras see motion or its microphone hears sound.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Run without any window.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Use the built-in demo camera and microphone.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Arm at launch, after a 15-second countdown.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Play a video file as the camera.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>path</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Unknown argument &apos;%1&apos;.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Watch a network camera (rtsp://, rtsps://, http:// or https:// MJPEG).</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>url</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Read the network camera&apos;s user name and password from this file (mode 0600): lines user=NAME and password=SECRET.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Usage: nelvo [--headless] [--demo] [--arm] [--camera-file PATH] [--camera-url URL [--credentials-file PATH]] [--help] [--version] | nelvo arm|disarm|test [--verify]|status|watch|focus on|off|timelapse</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>
Commands for the Nelvo that is running:
  nelvo arm            Arm, after a 5-second countdown.
  nelvo disarm         Disarm.
  nelvo test           Record a short test movie.
  nelvo test --verify  Record a test, read its movies back and judge them.
  nelvo status         Say the state, the notice, the last armed stretch,
                       the levels of the last minute and recording failures.
  nelvo watch          Print each change of state, each finished file and
                       each change of the recording failures.
  nelvo focus on|off   Arm while a focus is on, as the schedule does.
  nelvo timelapse      Make a time-lapse of the last armed stretch.
status and watch take --json for scripts. These commands never start Nelvo.</source>
        <extracomment>--help: the commands that drive a running Nelvo; keep the command words as they are</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>DeviceMenusSection</name>
    <message>
        <source>Camera:</source>
        <extracomment>Settings label</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Second camera:</source>
        <extracomment>Settings label</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Microphone:</source>
        <extracomment>Settings label</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No camera</source>
        <extracomment>Camera menu item</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No second camera</source>
        <extracomment>Second camera menu item</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>System default</source>
        <extracomment>Microphone menu item</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No microphone</source>
        <extracomment>Microphone menu item</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>DiskBudget</name>
    <message>
        <source>%1 recordings in the last day, most barely longer than the %2s minimum.</source>
        <extracomment>Popover; never fewer than three recordings, so no singular; the second argument is seconds</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 recordings in the last day, typically %2s. Nelvo can&apos;t make one shorter than %3s.</source>
        <extracomment>Popover; never fewer than three recordings, so no singular; the other arguments are seconds</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>GapNotifications</name>
    <message>
        <source>Nelvo quit unexpectedly at %1 and wasn&apos;t watching until %2, so nothing was recorded in between.</source>
        <extracomment>Notification body; the arguments are a time or a date and time</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo wasn&apos;t watching from %1 to %2, so nothing was recorded.</source>
        <extracomment>Notification body; the arguments are times</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo quit unexpectedly</source>
        <extracomment>Notification title</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo wasn&apos;t watching</source>
        <extracomment>Notification title</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>KeepAwakeReason</name>
    <message>
        <source>Nelvo is armed</source>
        <extracomment>Why the computer is kept awake, as the system lists it (systemd-inhibit --list)</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo is waiting for its schedule</source>
        <extracomment>Why the computer is kept awake between schedule windows, as the system lists it (systemd-inhibit --list)</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>LoginSection</name>
    <message>
        <source>Open Nelvo at Login</source>
        <extracomment>Settings checkbox</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Arm when Nelvo opens</source>
        <extracomment>Settings checkbox</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Arm while Do Not Disturb is on</source>
        <extracomment>Settings checkbox: arm while the desktop&apos;s Do Not Disturb is on, disarm when it goes off</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo couldn&apos;t change whether it opens at login.</source>
        <extracomment>Alert title</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Your desktop needs your approval before Nelvo can open at login.</source>
        <extracomment>Alert title</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Allow Nelvo to run in the background in your desktop&apos;s settings.</source>
        <extracomment>Alert text</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Open Settings</source>
        <extracomment>Alert button</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Not Now</source>
        <extracomment>Alert button</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>LogindSleepWatcher</name>
    <message>
        <source>Nelvo notes when the computer goes to sleep while it is armed</source>
        <extracomment>Why Nelvo briefly holds back sleep, as the system lists it (systemd-inhibit --list)</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>MenuBarIcon</name>
    <message>
        <source>Nelvo - a recording failed</source>
        <extracomment>Tray icon&apos;s tooltip and accessible name</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo - %1</source>
        <extracomment>Tray icon&apos;s tooltip and accessible name; the argument is the armed state, as the popover shows it</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>MovieCheck</name>
    <message>
        <source>it isn&apos;t there</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>GStreamer cannot read QuickTime movies here</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>it has no video</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>NetworkCameraLink</name>
    <message>
        <source>The camera refused the user name or password.</source>
        <extracomment>A network camera answered that the user name or password is wrong</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nothing answered at that address.</source>
        <extracomment>Nothing accepted a connection at a network camera&apos;s address</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The camera has no stream at that address.</source>
        <extracomment>A network camera answered, but has no stream at the address&apos;s path</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The camera sent no pictures.</source>
        <extracomment>A network camera accepted the connection but sent nothing</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The stream is not H.264, H.265 or MJPEG.</source>
        <extracomment>A network camera sends video Nelvo cannot record; keep the format names</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The elements that read network cameras are missing.</source>
        <extracomment>GStreamer&apos;s network elements are not installed</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The camera ended its stream.</source>
        <extracomment>A network camera ended its stream</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The camera stopped answering.</source>
        <extracomment>A network camera that was sending stopped answering</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The camera could not be read.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The camera stopped sending pictures.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>NetworkCameraLogin</name>
    <message>
        <source>--credentials-file goes with --camera-url.</source>
        <extracomment>Command line: keep the option names as they are</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo can&apos;t watch that camera: %1</source>
        <extracomment>%1 is why the address cannot be used</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo takes no user name or password on the command line, where others can read them: put them in a file named by --credentials-file, or in the secret service.</source>
        <extracomment>Command line: keep the option name as it is</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo can&apos;t read the credentials file %1: %2</source>
        <extracomment>%1 a file&apos;s path, %2 the system&apos;s reason</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo won&apos;t read the credentials file %1: other users can read it. Make it private with: chmod 600 %1</source>
        <extracomment>%1 a file&apos;s path; keep the command as it is</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo can&apos;t use the credentials file %1: line %2 is neither user= nor password=.</source>
        <extracomment>%1 a file&apos;s path, %2 a line number; keep user= and password= as they are</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>NetworkCameraUrl</name>
    <message>
        <source>This is not a camera address.</source>
        <extracomment>A network camera&apos;s address could not be read</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>A camera address starts with rtsp://, rtsps://, http:// or https://.</source>
        <extracomment>A network camera&apos;s address starts with another scheme; keep the schemes as they are</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>NumberField</name>
    <message>
        <source>Enter a number from %1 to %2</source>
        <extracomment>Alert title for a number out of range; the arguments are the smallest and largest allowed</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>PopoverButtonsView</name>
    <message>
        <source>Preview</source>
        <extracomment>Popover button that opens the camera preview</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Show what the cameras see and draw detection zones</source>
        <extracomment>Tooltip of the popover&apos;s preview button</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Pin</source>
        <extracomment>Popover toggle that keeps the popover open on clicks elsewhere</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Keep this open when clicking elsewhere</source>
        <extracomment>Tooltip of the popover&apos;s pin toggle</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Menu</source>
        <extracomment>Popover button that opens Nelvo&apos;s menu</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>PopoverMenu</name>
    <message>
        <source>Nelvo</source>
        <extracomment>Title of Nelvo&apos;s menu</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Show Recordings</source>
        <extracomment>Popover menu</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Show What Happened</source>
        <extracomment>Popover menu</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Make a Time-lapse</source>
        <extracomment>Popover menu</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Record a Test</source>
        <extracomment>Popover menu</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Preferences…</source>
        <extracomment>Popover menu, opens the settings window</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>About</source>
        <extracomment>Popover menu, opens the About window</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Quit</source>
        <extracomment>Popover menu</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Show What Happened (%1)</source>
        <extracomment>Popover menu, with the stretch&apos;s times</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Make a Time-lapse (%1)</source>
        <extracomment>Popover menu, with the stretch&apos;s times</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>PopoverNotice</name>
    <message>
        <source>Nelvo isn&apos;t watching for motion right now. Sound still is.</source>
        <extracomment>Popover notice</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo isn&apos;t watching for motion right now.</source>
        <extracomment>Popover notice</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo wasn&apos;t watching from %1 to %2</source>
        <extracomment>Popover notice, no full stop; the arguments are times</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo quit unexpectedly at %1 and wasn&apos;t watching until %2</source>
        <extracomment>Popover notice, no full stop; the arguments are a time, or a date and time</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message numerus="yes">
        <source>The %n oldest recordings were deleted to stay under your limit</source>
        <extracomment>Popover notice, no full stop; has a singular form in the catalog</extracomment>
        <translation>
            <numerusform>The oldest recording was deleted to stay under your limit</numerusform>
            <numerusform>The %n oldest recordings were deleted to stay under your limit</numerusform>
        </translation>
    </message>
    <message>
        <source>Closing the lid will stop Nelvo until it&apos;s opened again</source>
        <extracomment>Popover notice, no full stop</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo is starting with default settings.
Check the recordings folder and arm at login in Settings.</source>
        <extracomment>Popover notice on two lines, broken at the line feed</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo won&apos;t be open after a restart, so the schedule can&apos;t arm it: turn on Open Nelvo at Login</source>
        <extracomment>Popover notice, no full stop</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>PopoverViewController</name>
    <message>
        <source>there is no armed stretch to show</source>
        <extracomment>Why a time-lapse was not made: Nelvo has not been armed long enough to keep a stretch</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>PopoverWindow</name>
    <message>
        <source>Nelvo</source>
        <extracomment>The title of Nelvo&apos;s window where it has one (no tray, or Wayland)</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>QuitAlert</name>
    <message>
        <source>Nelvo</source>
        <extracomment>The title of the alert shown while quitting mid-recording</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Finishing the recording…</source>
        <extracomment>Quitting while a recording is written; ends with one ellipsis character</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo is writing the last of what it recorded, then it will quit.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Quit Now</source>
        <extracomment>Alert button: quit without waiting for the recording to be written</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Keep Recording</source>
        <extracomment>Alert button: do not quit, go on watching</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>RecordingFailure</name>
    <message numerus="yes">
        <source>%n recordings in a row weren&apos;t saved: there&apos;s no room left where recordings go</source>
        <extracomment>Popover notice; has a singular form in the catalog</extracomment>
        <translation>
            <numerusform>%n recording wasn&apos;t saved: there&apos;s no room left where recordings go</numerusform>
            <numerusform>%n recordings in a row weren&apos;t saved: there&apos;s no room left where recordings go</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n recordings in a row weren&apos;t saved: the folder recordings go to isn&apos;t there</source>
        <extracomment>Popover notice; has a singular form in the catalog</extracomment>
        <translation>
            <numerusform>%n recording wasn&apos;t saved: the folder recordings go to isn&apos;t there</numerusform>
            <numerusform>%n recordings in a row weren&apos;t saved: the folder recordings go to isn&apos;t there</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n recordings in a row weren&apos;t saved: Nelvo isn&apos;t allowed to write where recordings go</source>
        <extracomment>Popover notice; has a singular form in the catalog</extracomment>
        <translation>
            <numerusform>%n recording wasn&apos;t saved: Nelvo isn&apos;t allowed to write where recordings go</numerusform>
            <numerusform>%n recordings in a row weren&apos;t saved: Nelvo isn&apos;t allowed to write where recordings go</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n recordings in a row weren&apos;t saved: the file couldn&apos;t be written</source>
        <extracomment>Popover notice; has a singular form in the catalog</extracomment>
        <translation>
            <numerusform>%n recording wasn&apos;t saved: the file couldn&apos;t be written</numerusform>
            <numerusform>%n recordings in a row weren&apos;t saved: the file couldn&apos;t be written</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>RecordingFailureReport</name>
    <message>
        <source>Recordings are being saved again.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>RecordingLengthsSection</name>
    <message>
        <source>Stop recording:</source>
        <extracomment>Settings label and unit of the recording timeout</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>seconds after the last motion or sound</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Pre-roll:</source>
        <extracomment>Settings label and unit of the pre-roll</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>seconds before the trigger (at most 30)</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>RecordingManager</name>
    <message>
        <source>Arming… %1</source>
        <extracomment>Armed state; the argument is the countdown in seconds</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Unarmed until %1</source>
        <extracomment>Armed state between schedule windows; the argument is when the next window starts</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Unarmed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Armed on schedule until %1</source>
        <extracomment>Armed state; the argument is when the window ends</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Armed by Focus</source>
        <extracomment>Armed state while a Focus Filter armed it</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Armed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Recording</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Arm</source>
        <extracomment>Popover button</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Disarm</source>
        <extracomment>Popover button</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 tomorrow</source>
        <extracomment>When a schedule window ends; the argument is a time</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 on %2</source>
        <extracomment>When a schedule window ends; the arguments are a time and a weekday</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>RecordingsFolder</name>
    <message>
        <source>Recordings are saved here.</source>
        <extracomment>Settings, under the recordings folder</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 isn&apos;t available, so recordings are going here for now.</source>
        <extracomment>Settings, under the recordings folder; the argument is the chosen folder</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo isn&apos;t allowed to write here, so recordings will fail. Choose somewhere else.</source>
        <extracomment>Settings, under the recordings folder</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo can&apos;t write to %1</source>
        <extracomment>Alert title after choosing a recordings folder; the argument is the folder</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Recordings are still going where they were. Some folders don&apos;t allow it, including backup disks and anything read-only.</source>
        <extracomment>Alert text after choosing a recordings folder that can&apos;t be written</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>RecordingsFolderSection</name>
    <message>
        <source>Recordings folder:</source>
        <extracomment>Settings label</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Choose…</source>
        <extracomment>Settings button that picks the recordings folder</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Use Default</source>
        <extracomment>Settings button that goes back to the default recordings folder</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ScheduleRowView</name>
    <message>
        <source>to</source>
        <extracomment>Schedule row, between the start and end times</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>next day</source>
        <extracomment>Schedule row, after an end time earlier than the start</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Remove this window</source>
        <extracomment>Schedule row, the remove button&apos;s tooltip</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ScheduleSection</name>
    <message>
        <source>Watch on a schedule</source>
        <extracomment>Settings checkbox</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Add a window</source>
        <extracomment>Settings button that adds a row to the schedule</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The schedule only arms Nelvo while it&apos;s open, and with Open Nelvo at Login off nothing opens it after a restart. Turn it on above, or open Nelvo yourself after each restart.</source>
        <extracomment>Settings, under the schedule, when nothing would open Nelvo after a restart</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The schedule only runs while Nelvo is open, so turn on Open Nelvo at Login. While the schedule is on, Nelvo keeps the computer awake the whole time, on days without a window too.</source>
        <extracomment>Settings, under the schedule</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>While the schedule is on, Nelvo keeps the computer awake the whole time, including days without a window.</source>
        <extracomment>Settings, under the schedule</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ScriptingCall</name>
    <message>
        <source>Nelvo didn&apos;t answer in time; it may be busy. Try again in a moment.</source>
        <extracomment>Command line: a running Nelvo did not answer in time</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The session bus doesn&apos;t allow this command to reach Nelvo: %1</source>
        <extracomment>Command line: %1 is the bus&apos;s own explanation</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo couldn&apos;t answer: %1</source>
        <extracomment>Command line: %1 is Nelvo&apos;s error message</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ScriptingCommand</name>
    <message>
        <source>Usage: nelvo arm | disarm | test [--verify] | focus on|off | status [--json] | watch [--json]</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>SessionSetupResult</name>
    <message>
        <source>Not authorized</source>
        <extracomment>Shown when the system refuses Nelvo the camera or the microphone.</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Configuration failed</source>
        <extracomment>Shown when the cameras or the microphone could not be set up.</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>SettingsAlert</name>
    <message>
        <source>OK</source>
        <extracomment>The button of an alert that only informs</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>SettingsViewController</name>
    <message>
        <source>Choose where Nelvo saves its recordings.</source>
        <extracomment>Folder chooser&apos;s message</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>SettingsWindowController</name>
    <message>
        <source>Nelvo Settings</source>
        <extracomment>Settings window title</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ShortcutActions</name>
    <message>
        <source>Nelvo is arming.</source>
        <extracomment>Shortcuts result</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo is already armed.</source>
        <extracomment>Shortcuts result</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo can&apos;t arm: nothing can trigger a recording. Check the camera and microphone in Preferences.</source>
        <extracomment>Shortcuts result</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo is disarmed.</source>
        <extracomment>Shortcuts result</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo is recording a test.</source>
        <extracomment>Shortcuts result</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo can&apos;t record a test right now.</source>
        <extracomment>Shortcuts result</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo isn&apos;t running yet.</source>
        <extracomment>Intent error</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>StatusItem</name>
    <message>
        <source>GNOME shows no tray icons by itself, so Nelvo opens in this window. Turn on the AppIndicator extension (gnome-shell-extension-appindicator) and open Nelvo again to keep it in the top bar.</source>
        <extracomment>Shown in Nelvo&apos;s window on GNOME when the panel has no tray</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Your desktop shows no tray, so Nelvo opens in this window. Add a system tray (status notifier) to your panel and open Nelvo again to keep it there.</source>
        <extracomment>Shown in Nelvo&apos;s window when the desktop has no tray</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>StatusText</name>
    <message>
        <source>threshold %1</source>
        <extracomment>nelvo status: %1 is the threshold; the second form when the trigger is off</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>threshold %1, turned off</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Motion on %1: highest %2 in the last minute, %3</source>
        <extracomment>nelvo status: %1 camera name, %2 level, %3 threshold text</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Sound on %1: loudest %2 in the last minute, %3</source>
        <extracomment>nelvo status: %1 microphone name, %2 level, %3 threshold text</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 (the last at %2)</source>
        <extracomment>nelvo status and watch: %1 the failure&apos;s sentence, %2 the time of the last failure</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>StorageForecast</name>
    <message>
        <source>At this week&apos;s rate, Nelvo records about %1 a day.</source>
        <extracomment>Settings, under the size limit when there is none; the argument is a size</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message numerus="yes">
        <source>At this week&apos;s rate, %1 GB holds about %n days of recordings.</source>
        <extracomment>Settings, under the size limit; the arguments are the limit in GB and a number of days</extracomment>
        <translation>
            <numerusform>At this week&apos;s rate, %1 GB holds about %n day of recordings.</numerusform>
            <numerusform>At this week&apos;s rate, %1 GB holds about %n days of recordings.</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>StorageSection</name>
    <message>
        <source>Size limit:</source>
        <extracomment>Settings label and unit of the size limit</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>GB for all recordings (0: no limit)</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TestVerdict</name>
    <message>
        <source>The test wrote no movie.</source>
        <extracomment>nelvo test --verify: no file was written</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Every movie of the test is sound.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Not every movie of the test is sound.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1: can&apos;t be read: %2</source>
        <extracomment>nelvo test --verify: %1 file name, %2 why it can&apos;t be read</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 s long</source>
        <extracomment>nelvo test --verify: the movie&apos;s length in seconds</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>no keyframe</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>first keyframe at %1 s (it must be at 0)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>first keyframe at %1 s</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>video starts at %1 s</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>, audio at %1 s</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>, no audio</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>no frames lost</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>1 frame lost</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 frames lost</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>the pre-roll it began with isn&apos;t known</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>pre-roll %1 s of the %2 s asked for: covered</source>
        <extracomment>nelvo test --verify: %1 seconds of pre-roll the movie has, %2 seconds asked for</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>pre-roll %1 s of the %2 s asked for: not covered</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No motion level was measured during the test.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Motion peaked at %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>; motion doesn&apos;t trigger recordings while it&apos;s turned off.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>; the threshold is %1: </source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>it would have triggered.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>it would not have triggered. </source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Lower it to %1 or draw a zone around where people appear.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Move in front of the camera during the test, or draw a zone around where people appear.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No sound level was measured during the test.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Sound peaked at %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>; sound doesn&apos;t trigger recordings while it&apos;s turned off.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Lower it to %1 or move the microphone closer to where things happen.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Make a sound during the test, or move the microphone closer to where things happen.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TestVerification</name>
    <message>
        <source>Nelvo didn&apos;t finish the test recording.</source>
        <extracomment>nelvo test --verify: Nelvo quit or never ended the test</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TimeLapseCommand</name>
    <message>
        <source>Making the time-lapse: %1%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nothing in that stretch could be read, so no time-lapse was made</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Time-lapse not written: %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Usage: nelvo timelapse</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nelvo has no armed stretch to make a time-lapse of yet</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TimeLapseRenderer</name>
    <message>
        <source>couldn&apos;t open a movie file in %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>the movie didn&apos;t finish</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TriggerCostLine</name>
    <message>
        <source>Nothing in that stretch could be read, so no time-lapse was made</source>
        <extracomment>Popover line under the state, after a time-lapse found nothing to show</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Making a time-lapse… %1%</source>
        <extracomment>Popover line under the state while a time-lapse is made; the argument is the percentage done</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Time-lapse not written: %1</source>
        <extracomment>Popover line under the state; the argument says why the time-lapse failed</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TriggerMetersView</name>
    <message>
        <source>Motion</source>
        <extracomment>Popover checkbox: motion may trigger a recording</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>How much motion starts a recording</source>
        <extracomment>Popover slider&apos;s tooltip</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Sound</source>
        <extracomment>Popover checkbox: sound may trigger a recording</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>How loud a sound starts a recording</source>
        <extracomment>Popover slider&apos;s tooltip</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No camera</source>
        <extracomment>Popover, in place of the camera&apos;s name</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No microphone</source>
        <extracomment>Popover, in place of the microphone&apos;s name</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>WhatHappened</name>
    <message>
        <source>%1s</source>
        <extracomment>Abbreviated seconds of a duration, as in &quot;45s&quot;</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1d</source>
        <extracomment>Abbreviated days of a duration, as in &quot;2d&quot;</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1h</source>
        <extracomment>Abbreviated hours of a duration, as in &quot;2h&quot;</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1m</source>
        <extracomment>Abbreviated minutes of a duration, as in &quot;5m&quot;</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Armed for %1, nothing recorded</source>
        <extracomment>Popover line under the state, after a disarm</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Armed for %1: one recording at %2</source>
        <extracomment>Popover line under the state, after a disarm</extracomment>
        <translation type="unfinished"></translation>
    </message>
    <message numerus="yes">
        <source>Armed for %1: %n recordings between %2 and %3</source>
        <extracomment>Popover line under the state, after a disarm</extracomment>
        <translation>
            <numerusform>Armed for %1: %n recording between %2 and %3</numerusform>
            <numerusform>Armed for %1: %n recordings between %2 and %3</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>ZoneEditorView</name>
    <message>
        <source>Drag to draw a zone. With none drawn, the whole frame is used.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Clear zones</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Nelvo can&apos;t play %1 as a camera: %2</source>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>
