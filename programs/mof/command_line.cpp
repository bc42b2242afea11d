// command_line.cpp - see command_line.h.
#include "command_line.h"

namespace mof {

std::string HelpText() {
  return "Usage: cmpi-mof --database PATH [--namespace NS] FILE...\n"
         "       cmpi-mof --sql [--namespace NS] FILE...\n"
         "\n"
         "Reads class declarations and provider registrations written in MOF and stores them in\n"
         "a schema database (the tables of share/schema.sql).\n"
         "\n"
         "  --database PATH  write into the database at PATH; its tables are created when it has\n"
         "                   none. The whole import is one transaction: on any error nothing is\n"
         "                   written.\n"
         "  --sql            print the SQL statements instead (BEGIN; DELETEs and INSERTs in\n"
         "                   declaration order; COMMIT;)\n"
         "  --namespace NS   the namespace of what the files declare until a #pragma\n"
         "                   namespace(\"...\") says otherwise (default: root/cimv2)\n"
         "  --help           show this text\n"
         "  --version        show the version\n"
         "\n"
         "A provider is registered with\n"
         "  instance of CMPIUtility_ProviderRegistration {\n"
         "      ProviderName = \"DemoProvider\";          // library libdemoprovider.so\n"
         "      ClassNames = {\"Demo_Fan\", \"Demo_Chassis\"};\n"
         "      UnloadNever = false;                    // optional, default false\n"
         "      NameSpace = \"root/cimv2\";               // optional\n"
         "  };\n"
         "\n"
         "Exit status: 0 done, 1 an error in the input or the database (messages on standard\n"
         "error, as FILE:LINE:COLUMN: error: MESSAGE), 2 a usage error.\n";
}

Options ParseCommandLine(const std::vector<std::string> &args) {
  Options options;
  bool database = false;
  bool sql = false;
  bool help = false;
  bool version = false;
  bool optionsEnded = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string &arg = args[i];
    if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
      options.files.push_back(arg);
      continue;
    }
    if (arg == "--") {
      optionsEnded = true;
      continue;
    }
    std::string name = arg;
    std::string value;
    bool hasValue = false;
    const std::size_t equals = arg.find('=');
    if (arg.compare(0, 2, "--") == 0 && equals != std::string::npos) {
      name = arg.substr(0, equals);
      value = arg.substr(equals + 1);
      hasValue = true;
    }
    const auto takeValue = [&]() {
      if (hasValue) return value;
      if (i + 1 >= args.size()) throw UsageError(name + " needs a value");
      return args[++i];
    };
    const auto noValue = [&]() {
      if (hasValue) throw UsageError(name + " takes no value");
    };
    if (name == "--help" || name == "-h") {
      noValue();
      help = true;
    } else if (name == "--version") {
      noValue();
      version = true;
    } else if (name == "--sql") {
      noValue();
      sql = true;
    } else if (name == "--database") {
      if (database) throw UsageError("--database is given twice");
      options.database = takeValue();
      if (options.database.empty()) throw UsageError("--database needs a file name");
      database = true;
    } else if (name == "--namespace") {
      options.nameSpace = takeValue();
      if (options.nameSpace.empty()) throw UsageError("--namespace needs a namespace name");
      options.nameSpaceGiven = true;
    } else {
      throw UsageError("unknown option " + name);
    }
  }
  if (help) {
    options.action = Options::Action::Help;
    return options;
  }
  if (version) {
    options.action = Options::Action::Version;
    return options;
  }
  if (database && sql) throw UsageError("--database and --sql exclude each other");
  if (!database && !sql) throw UsageError("give --database PATH or --sql");
  if (options.files.empty()) throw UsageError("no MOF file given");
  options.action = sql ? Options::Action::PrintSql : Options::Action::Import;
  return options;
}

}  // namespace mof
