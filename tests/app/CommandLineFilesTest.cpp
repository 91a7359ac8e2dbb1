// The editor's command line as a person types it and as a desktop entry's %U passes it.

#include <QDir>
#include <QUrl>

#include <gtest/gtest.h>

#include "CommandLineFiles.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::App {
namespace {

namespace Support = ::Quelto::Lumindra::Test;

TEST(CommandLineFiles, PathsAndFileUrlsBecomeAbsolutePathsInOrderOtherUrlsBecomeProblems)
{
    Support::Sandbox sandbox;
    const QString a = sandbox.Touch(QStringLiteral("a b.jpg"));
    const QString c = sandbox.Touch(QStringLiteral("c.png"));
    const QString urlLike = sandbox.Touch(QStringLiteral("notes:1.jpg"));
    const QString oldCurrent = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(sandbox.Path()));
    const QString missing = sandbox.FilePath(QStringLiteral("missing.jpg"));

    struct Case { const char* what; QStringList arguments; QStringList files; int problems; };
    const Case cases[] = {
        {"nothing", {}, {}, 0},
        {"absolute and relative paths", {a, QStringLiteral("c.png")}, {a, c}, 0},
        {"a path with a folder step", {QStringLiteral("./sub/../c.png")}, {c}, 0},
        // Spaces arrive percent-encoded in URLs.
        {"file URLs", {QUrl::fromLocalFile(a).toString(QUrl::FullyEncoded), QUrl::fromLocalFile(c).toString()}, {a, c}, 0},
        {"one file twice", {a, QUrl::fromLocalFile(a).toString()}, {a}, 0},
        // Opening reports a missing file with its own message, naming the file.
        {"a missing file", {missing}, {missing}, 0},
        {"a file named like a URL", {QStringLiteral("notes:1.jpg")}, {urlLike}, 0},
        {"remote URLs among files",
         {QStringLiteral("https://example.org/p.jpg"), c, QStringLiteral("sftp://host/p.jpg")}, {c}, 2},
    };
    for (const Case& t : cases) {
        SCOPED_TRACE(t.what);
        const CommandLineFiles::Result result = CommandLineFiles::Parse(t.arguments);
        EXPECT_EQ(result.files, t.files);
        ASSERT_EQ(result.problems.size(), t.problems);
        for (const QString& problem : result.problems)
            EXPECT_TRUE(problem.contains(QStringLiteral("://"))) << problem.toStdString(); // names the URL
    }
    QDir::setCurrent(oldCurrent);
}

} // namespace
} // namespace Quelto::Lumindra::App
