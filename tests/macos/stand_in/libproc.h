#pragma once

// What the companion uses of macOS's <libproc.h> and <sys/proc_info.h>, by the names, types and
// values of the system's own headers, played by fake_macos.cpp. The cross build compiles against
// the real ones.

#include <netinet/in.h>
#include <sys/types.h>

#include <cstdint>

#define MAXCOMLEN 16
#define PROC_PIDLISTFDS 1
#define PROC_PIDTBSDINFO 3
#define PROC_PIDLISTTHREADS 6
#define PROC_PIDFDSOCKETINFO 3
#define PROX_FDTYPE_VNODE 1
#define PROX_FDTYPE_SOCKET 2
#define INI_IPV4 0x1
#define INI_IPV6 0x2

enum { SOCKINFO_GENERIC = 0, SOCKINFO_IN = 1, SOCKINFO_TCP = 2 };

struct proc_bsdinfo {
  std::uint32_t pbi_pid;
  uid_t pbi_uid;
  char pbi_comm[MAXCOMLEN];
  char pbi_name[2 * MAXCOMLEN];
  std::uint64_t pbi_start_tvsec;
  std::uint64_t pbi_start_tvusec;
};

struct in4in6_addr {
  std::uint32_t i46a_pad32[3];
  in_addr i46a_addr4;
};

struct in_sockinfo {
  int insi_fport;
  int insi_lport;
  std::uint8_t insi_vflag;
  union {
    in4in6_addr ina_46;
    in6_addr ina_6;
  } insi_laddr;
};

struct socket_info {
  int soi_type;
  int soi_protocol;
  int soi_family;
  int soi_kind;
  union {
    in_sockinfo pri_in;
  } soi_proto;
};

struct socket_fdinfo {
  socket_info psi;
};

struct proc_fdinfo {
  std::int32_t proc_fd;
  std::uint32_t proc_fdtype;
};

extern "C" {
int proc_listallpids(void* buffer, int size);
int proc_pidinfo(int pid, int flavor, std::uint64_t argument, void* buffer, int size);
int proc_pidfdinfo(int pid, int descriptor, int flavor, void* buffer, int size);
int proc_name(int pid, void* buffer, std::uint32_t size);
}
