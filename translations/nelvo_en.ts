<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
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
    <name>main</name>
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
</context>
</TS>
