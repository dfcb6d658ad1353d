#include "commands/convertwithlocaldata.h"
#include "commands/queries.h"
#include "commands/vondcommand.h"
#include "diagnostics/hello.h"
#include "diagnostics/memtest.h"
#include "diagnostics/sleep.h"
#include "http/qhttpserver.h"
#include "jobs/cancel.h"
#include "jobs/convert.h"
#include "jobs/progress.h"
#include "jobs/result.h"
#include "jobs/upload.h"
#include "logging/getlogfile.h"
#include "server/requesthdlr.h"

using Request = QHttpServerRequest;
using Method = QHttpServerRequest::Method;

void RequestHdlr::registerRoutes(QHttpServer *server)
{
    // Copies, not members: the routes keep the values that the handler has now.
    const QString vond = m_vondPath;
    jobs::Registry *const registry = m_registry;

    constexpr int rowCount = 21;
    server->router()->reserve(rowCount);

    // The first matching row answers, so the order is part of the interface. One row per line, so
    // that it reads as a table.
    // clang-format off
    server->route(QStringLiteral("/"),                                 [] { return diagnostics::hello(); });
    server->route(QStringLiteral("/sleep90secs"),                      [] { return diagnostics::sleep90secs(); });
    server->route(QStringLiteral("/sleep2secs"),                       [] { return diagnostics::sleep2secs(); });
    server->route(QStringLiteral("/sleep10secs"),                      [registry] { return diagnostics::sleep10secs(registry); });
    server->route(QStringLiteral("/sleep20secs"),                      [registry] { return diagnostics::sleep20secs(registry); });
    server->route(QStringLiteral("/text"),                             [](const Request &request) { return diagnostics::text(request.body()); });
    server->route(QStringLiteral("/memtest"),                          [](const Request & /*request*/) { return diagnostics::memtest(); });
    server->route(QStringLiteral("/vondServerVersion"),                [] { return diagnostics::vondServerVersion(); });
    server->route(QStringLiteral("/upload/<arg>"), Method::Post,       [](const QString &name, const Request &request) { return jobs::upload(name, request.body()); });
    server->route(QStringLiteral("/getLogFile"),                       [] { return logging::getLogFile(); });
    server->route(QStringLiteral("/progressInf/<arg>"),                [](const QString &argument) { return jobs::progressInf(argument); });
    server->route(QStringLiteral("/progressInfo/<arg>"),               [registry](const QString &id) { return jobs::progressInfo(registry, id); });
    server->route(QStringLiteral("/progressTest"),                     [registry] { return jobs::progressTest(registry); });
    server->route(QStringLiteral("/version"),                          [vond] { return commands::version(vond); });
    server->route(QStringLiteral("/listconfigurations"),               [vond] { return commands::listconfigurations(vond); });
    server->route(QStringLiteral("/configDetails/<arg>"),              [vond](const QString &name) { return commands::configDetails(vond, name); });
    server->route(QStringLiteral("/cancelConversion/<arg>"),           [vond](const QString &cancelId) { return jobs::cancelConversion(vond, cancelId); });
    server->route(QStringLiteral("/convert"),                          [vond, registry, this](const Request &request) { return jobs::convert(vond, registry, lendJob(), request.body()); });
    server->route(QStringLiteral("/getConversionResult/<arg>"),        [](const QString &name) { return jobs::getConversionResult(name); });
    server->route(QStringLiteral("/convertWithLocalData"),             [vond](const Request &request) { return commands::convertWithLocalData(vond, request.body()); });
    server->route(QStringLiteral("/vond"),                             [vond](const Request &request) { return commands::vond(vond, request.body()); });
    // clang-format on
}
