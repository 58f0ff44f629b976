// Runs a fuzz target's entry over saved inputs, so every seed and every
// input that once broke a parser is checked by the ordinary test suite:
// each argument is a file or a folder of files.
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    int inputs = 0;
    for (int i = 1; i < argc; ++i) {
        QStringList files;
        if (QFileInfo(QString::fromLocal8Bit(argv[i])).isDir()) {
            QDirIterator it(QString::fromLocal8Bit(argv[i]), QDir::Files | QDir::Hidden);
            while (it.hasNext()) {
                files << it.next();
            }
        } else {
            files << QString::fromLocal8Bit(argv[i]);
        }
        for (const QString& path : files) {
            QFile file(path);
            if (!file.open(QIODevice::ReadOnly)) {
                std::fprintf(stderr, "Cannot read %s\n", qPrintable(path));
                return 1;
            }
            const QByteArray input = file.readAll();
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.constData()),
                                   std::size_t(input.size()));
            ++inputs;
        }
    }
    std::printf("%d inputs replayed\n", inputs);
    return inputs > 0 ? 0 : 1;
}
