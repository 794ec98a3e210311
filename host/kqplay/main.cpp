#include "Options.h"
#include "Session.h"

int main(int argc, char** argv) {
    kqplay::Options options;
    if (const auto status = kqplay::ParseOptions(argc, argv, options))
        return *status;
    kqplay::Session session(options);
    return session.Run();
}
