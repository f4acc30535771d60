// The help page of velmora serve.
#include "workbench/cli/open_command.h"

namespace velmora {

const char kServeHelp[] =
    R"(velmora serve: the workbench as a page for browsers of other machines.

Usage: velmora serve [DATA] --host ADDRESS --tls-cert FILE --tls-key FILE --password-file FILE [OPTIONS]

The page of 'velmora open', for whoever knows the password. They read the data files of the folders that --root names,
run analyses on this machine and write projects and bins beside the data, all as the user who has started it; everybody
sees the same state. It is meant for a network of colleagues; in the open internet, put a proxy in front of it that limits
connections. It ends with Ctrl-C.

Examples:
  For colleagues, with a certificate for this machine's name:
      velmora serve data/ --host 0.0.0.0 --name stats.example.org --tls-cert cert.pem --tls-key key.pem
          --password-file password.txt
  Behind a proxy on this machine that has a certificate:
      velmora serve data/ --host 127.0.0.1 --name stats.example.org --password-file password.txt

Options
  --host ADDRESS        the address of this machine to listen on (default: 127.0.0.1, this machine alone)
  --name NAME           a host name under which browsers reach it; may be repeated; requests for others are refused
  --port N              default: 8443
  --tls-cert FILE       the certificate with its chain, PEM
  --tls-key FILE        its key, PEM
  --without-tls         serve other machines without TLS: anyone on the network path can read the password and the data
  --password-file FILE  with the password in its first line, at least 8 characters; nobody else may read it (default:
                        the variable VELMORA_PASSWORD, which others may see while the program starts)
  --root DIR            a folder whose files the page may open; may be repeated (the folder of DATA always is one)

After three wrong passwords, an address has to wait before the next try, up to about four minutes. A window that has not
been used for 12 hours has to sign in again. The options for reading files are those of 'velmora open'.
)";

}  // namespace velmora
