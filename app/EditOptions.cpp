#include "EditOptions.h"

#include <map>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QStringList>

namespace Quelto::Lumindra::App {

namespace {

const QString kRotate = QStringLiteral("rotate");
const QString kFlip = QStringLiteral("flip");
const QString kCrop = QStringLiteral("crop");

bool IsEditOption(const QString& name)
{
    return name == kRotate || name == kFlip || name == kCrop;
}

std::shared_ptr<const Proc::SettingsBase> ParseCrop(const QString& value)
{
    const QStringList parts = value.split(QLatin1Char(','));
    if (parts.size() != 4)
        return nullptr;
    int v[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        v[i] = parts[i].trimmed().toInt(&ok);
        if (!ok || v[i] < 0)
            return nullptr;
    }
    if (v[2] <= 0 || v[3] <= 0)
        return nullptr;
    return std::make_shared<Proc::SettingsCrop>(v[0], v[1], v[2], v[3]);
}

} // namespace

void EditOptions::AddTo(QCommandLineParser& parser)
{
    parser.addOption(QCommandLineOption(
        kRotate, QCoreApplication::translate("EditOptions", "Turn the picture clockwise by 90, 180 or 270 degrees."),
        QStringLiteral("degrees")));
    parser.addOption(QCommandLineOption(
        kFlip, QCoreApplication::translate("EditOptions", "Flip the picture: h (left to right) or v (top to bottom)."),
        QStringLiteral("h|v")));
    parser.addOption(QCommandLineOption(
        kCrop, QCoreApplication::translate("EditOptions", "Cut the picture to the rectangle X,Y,W,H in pixels."),
        QStringLiteral("x,y,w,h")));
}

std::shared_ptr<const Proc::SettingsBase> EditOptions::Parse(const QString& option, const QString& value, QString& error)
{
    std::shared_ptr<const Proc::SettingsBase> edit;
    QString expected;
    if (option == kRotate) {
        static const std::map<QString, int> turns {{QStringLiteral("90"), 1}, {QStringLiteral("180"), 2},
                                                   {QStringLiteral("270"), 3}};
        if (const auto found = turns.find(value.trimmed()); found != turns.end())
            edit = std::make_shared<Proc::SettingsRotate>(found->second);
        expected = QStringLiteral("90, 180 or 270");
    } else if (option == kFlip) {
        const QString which = value.trimmed().toLower();
        if (which == QLatin1String("h") || which == QLatin1String("v"))
            edit = std::make_shared<Proc::SettingsFlip>(which == QLatin1String("h"));
        expected = QStringLiteral("h or v");
    } else if (option == kCrop) {
        edit = ParseCrop(value);
        expected = QStringLiteral("X,Y,W,H with X and Y at least 0 and W and H at least 1");
    } else {
        error = QStringLiteral("--%1 is not an edit").arg(option);
        return nullptr;
    }
    if (!edit)
        error = QStringLiteral("Invalid --%1 \"%2\": expected %3").arg(option, value, expected);
    return edit;
}

bool EditOptions::Read(const QCommandLineParser& parser, Edits& edits, QString& error)
{
    // The parser keeps the order of the names and, per name, of the values: together they give
    // the order of the command line.
    std::map<QString, int> used;
    for (const QString& name : parser.optionNames()) {
        if (!IsEditOption(name))
            continue;
        const QStringList values = parser.values(name);
        const int index = used[name]++;
        if (index >= values.size())
            continue;
        auto edit = Parse(name, values[index], error);
        if (!edit)
            return false;
        edits.push_back(std::move(edit));
    }
    return true;
}

} // namespace Quelto::Lumindra::App
