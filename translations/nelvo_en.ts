<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
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
