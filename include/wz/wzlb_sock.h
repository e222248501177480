/* Sockets: clients, listeners, UDP endpoints, keepalive, addresses as text and the listen settings.
 *
 * Conventions of this header:
 *
 *   server_name  "/path" is a Unix-domain socket; else "host", "host:port", "[IPv6]:port", "[IPv6]"
 *                or a bare IPv6 address. A host with addresses of both kinds is taken by its first
 *                IPv4 address. A port of the name wins over `default_port`; a negative
 *                `default_port` means that there is none.
 *   err_msg      room for WZLB_SOCK_ERROR_SIZE bytes, or null for no message. Only a failure writes
 *                to it. A function that has no such argument keeps its message as the calling
 *                thread's last error text (wzlb_get_error).
 *   descriptors  belong to the caller, who closes them.
 *   address text stands in a buffer of the calling thread, valid until its next call of the same
 *                function.
 *
 * No function ends the process, and none closes on exec: see set_fd_cloexec_flag.
 */
#ifndef WZLB_SOCK_H
#define WZLB_SOCK_H

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/** Most bytes that a message takes, its NUL included; longer ones are cut. */
#define WZLB_SOCK_ERROR_SIZE 1024

/* States of a non-blocking connection. */
#define WZLB_CON_CONNECTED 1
#define WZLB_CON_IN_PROGRESS 2

/** Where to listen, as wzlb_parse_listen_settings reads it. */
typedef struct WzlbListenSettings {
  char host[65];                /* IP address or host name; empty for every address */
  unsigned short listen_port;   /* 80 to 65535 */
  unsigned short external_port; /* as seen from outside; the listen port unless given */
} WzlbListenSettings;

/* Clients */

/**
 * A non-blocking stream socket with SO_REUSEADDR. The other status flags are replaced, not kept.
 *
 * @param family  AF_INET, AF_INET6 or AF_UNIX.
 * @return        Descriptor; -1 with a message. Deliberate: when an option fails, the socket stays
 *                open, because its number stands in the message and the caller decides.
 */
WZ_API int wzlb_nb_open_socket(int family, char *err_msg);

/**
 * Starts connecting a non-blocking socket.
 *
 * @param server_ip    Server name; null fails without a message.
 * @param server_port  Port where the name has none.
 * @param con_state    WZLB_CON_CONNECTED or WZLB_CON_IN_PROGRESS; unchanged on failure.
 * @return             0 connected, 1 pending or already connected, -1 failed.
 */
WZ_API int wzlb_nb_connect(int sock_fd, char *server_ip, int server_port, int *con_state,
                           char *err_msg);
/** wzlb_nb_connect to a filled address (IPv4 or IPv6, see wzlb_fill_sockaddr_ex). */
WZ_API int wzlb_nb_connect_addr(int sock_fd, struct sockaddr_in6 server_addr, int *con_state,
                                char *err_msg);

/**
 * Connects a blocking TCP (IPv4) or Unix-domain stream socket.
 *
 * @param timeout_val  Seconds that connecting, each send and each receive may take; below 1 there
 *                     is no limit.
 * @param src_ip       Address to connect from; null or empty for any. When it cannot be bound, a
 *                     warning goes to standard error and any address is taken.
 * @return             Descriptor; -1 with a message.
 */
WZ_API int wzlb_tcp_client_ex2(char *server_name, int default_port, int timeout_val, char *src_ip,
                               char *err_msg);
/** wzlb_tcp_client_ex2 from any address. */
WZ_API int wzlb_tcp_client_ex(char *server_name, int default_port, int timeout_val, char *err_msg);
/** wzlb_tcp_client_ex without a limit; prints its message on standard error. */
WZ_API int wzlb_tcp_client(char *server_name, int default_port);

/**
 * accept(2).
 *
 * @return  Descriptor; -1 with "Error: <reason>" in `err_buf`.
 */
WZ_API int wzlb_accept(int sockfd, struct sockaddr *addr, socklen_t *addrlen, char *err_buf);

/* Listeners: SO_REUSEADDR, bound and listening. All return the descriptor; -1 when the socket
 * cannot be made or cannot listen, -2 when it cannot be bound (address in use, no permission, port
 * out of range), -3 for an invalid `ip_addr`. The forms without an address listen on every one.
 * The capitalised forms print their message on standard error as well. */

/** IPv4; `ip_addr` in numbers, null or empty for every address. */
WZ_API int wzlb_tcp_listen_ex(int local_port, int backlog, char *ip_addr, char *err_msg);
WZ_API int wzlb_tcp_listen(int local_port, int backlog);
WZ_API int wzlb_Tcp_listen(int local_port, int backlog);
WZ_API int wzlb_Tcp_listen_ex(int local_port, int backlog, char *ip_addr);
/** IPv6, and IPv4 as well unless `ipv6_only` is not 0. */
WZ_API int wzlb_tcp_listen6_ex(int local_port, int backlog, char *ip_addr, int ipv6_only);
WZ_API int wzlb_tcp_listen6(int local_port, int backlog);
WZ_API int wzlb_Tcp_listen6(int local_port, int backlog);
/** IPv6 only. */
WZ_API int wzlb_Tcp_listen6_v2(int local_port, int backlog);
/** IPv4 or IPv6, as `ip_addr` is; without it both. Processes that open the same address in this way
 * share it (SO_REUSEPORT): the system gives each new connection to one of them. */
WZ_API int wzlb_tcp_listen_shared(int local_port, int backlog, char *ip_addr, char *err_msg);

/* UDP */

/**
 * A bound datagram socket with SO_REUSEADDR, of IPv4 or of the family of `ip_addr`.
 *
 * @param port         0 lets the system choose, see wzlb_get_port_from_fd.
 * @param no_delay     Not 0 makes the socket non-blocking.
 * @param ip_addr      Address or host name; null or empty for every address.
 * @param err_msg_len  Room of `err_msg` in bytes.
 * @return             Descriptor; -1 with a message.
 */
WZ_API int wzlb_udp_server_ex(unsigned short port, int no_delay, char *ip_addr, char *err_msg,
                              int err_msg_len);
/** wzlb_udp_server_ex on every address. */
WZ_API int wzlb_udp_server(unsigned short port, int no_delay);
/** The same for IPv6, and IPv4 as well. */
WZ_API int wzlb_udp_server6(unsigned short port, int no_delay);
/** Of the family of `ip_addr`; without it IPv6 and IPv4. Processes that open the same address in
 * this way share it (SO_REUSEPORT): the system gives what one sender sends to one of them. */
WZ_API int wzlb_udp_server_shared(unsigned short port, int no_delay, char *ip_addr, char *err_msg);
/** A datagram socket (IPv4, IPv6) connected to a server, so that send and recv need no address.
 * Descriptor, or -1. */
WZ_API int wzlb_udp_client(char *server_name, int default_port, int no_delay);

/* Options */

/**
 * Switches keepalive probes on.
 *
 * @param tcp_conn_keepidle   Seconds of silence before the first probe.
 * @param tcp_conn_keepintvl  Seconds between probes.
 * @param tcp_conn_keepcnt    Unanswered probes that end the connection.
 * @return                    0; -1 with a message at the first option that fails.
 */
WZ_API int wzlb_set_keepalive_params(int sock_fd, int tcp_conn_keepidle, int tcp_conn_keepintvl,
                                     int tcp_conn_keepcnt, char *err_msg);
/** Closes `fd` when the process executes another program. 0, or -1 (errno). */
WZ_API int set_fd_cloexec_flag(int fd);
/** fcntl(2) that prints a failure on standard error. */
WZ_API void wzlb_Fcntl(int fd, int cmd, long arg);

/* Addresses */

/**
 * Resolves a server name that is not a path. Thread-safe, as all of these are.
 *
 * @param addr  Zeroed and filled with a sockaddr_in or a sockaddr_in6, port in network order.
 * @return      Length of the address; 0 with a message.
 */
WZ_API int wzlb_fill_sockaddr_ex(struct sockaddr_in6 *addr, char *server_name, int default_port,
                                 char *err_msg);
WZ_API int wzlb_fill_sockaddr_ex_r(struct sockaddr_in6 *addr, char *server_name, int default_port,
                                   char *err_msg);
/** The same without a message. */
WZ_API int wzlb_fill_sockaddr(struct sockaddr_in6 *addr, char *server_name, int default_port);
/** A Unix-domain address of a path of at most 108 bytes, which fills the record without a NUL.
 * Length of the record; 0 with a message. */
WZ_API int wzlb_fill_sockaddr_unix(struct sockaddr_un *addr, char *addr_path, char *err_msg);

/**
 * The host of a server name; `svr` is not changed.
 *
 * @param hport  Set to the port, or to -1 when the name has none.
 * @return       Address text as described above, brackets taken off; null for a name of another
 *               form, with "Invalid input = <svr>" on standard error.
 */
WZ_API char *wzlb_split_host_port(char *svr, int *hport);

/** An IPv4, IPv6 or Unix-domain address as text: with `give_port`, "1.2.3.4:80" and "[::1]:80";
 * without, "1.2.3.4" and "::1". Empty for null and for other families. */
WZ_API char *wzlb_sockaddr_to_ip(const struct sockaddr *sa, int give_port);
/** wzlb_sockaddr_to_ip with the port, of an address of `salen` bytes; empty when it is cut off. */
WZ_API char *wzlb_sock_ntop(const struct sockaddr *sa, socklen_t salen);
/** The local end of a socket, as wzlb_sockaddr_to_ip gives it; empty on failure. */
WZ_API char *wzlb_get_src_addr(int fd, int give_port);
WZ_API char *wzlb_get_src_addr_ex(int fd, int give_port);
/** The remote end of a connected socket. */
WZ_API char *wzlb_get_dest_addr(int fd, int give_port);
WZ_API char *wzlb_get_dest_addr_ex(int fd, int give_port);
/** The kernel's figures of a TCP connection, "state=ESTABLISHED retransmits=0 rto_us=204000 ...":
 * times in the unit that the name ends in, sizes in bytes, windows in segments. Empty when `fd` is
 * no TCP socket. */
WZ_API char *wzlb_get_tcpinfo(int fd);
/** Local port of a socket; -1 with a message. */
WZ_API int wzlb_get_port_from_fd(int fd, char *err_msg);

/* Listen settings */

/**
 * Reads "[IP]:<port>:[external_port]": a port, host and port, port and external port, or all three.
 * Addresses with colons do not fit this form.
 *
 * @param value       Text, not changed; null counts as empty.
 * @param listen_ptr  Filled as far as the text goes; ports are 0 where nothing was read.
 * @param err_msg     Message for every result but 0.
 * @param err_len     Room of `err_msg` in bytes.
 * @return            0; 1 empty text; 2 only a host; -1 anything else.
 */
WZ_API int wzlb_parse_listen_settings(char *value, WzlbListenSettings *listen_ptr, char *err_msg,
                                      int err_len);
/** wzlb_parse_listen_settings of the keyword PORT in "<wz_wdir>/rmc/conf/rmc.conf"; -1 as well when
 * the file cannot be read or has no such line. */
WZ_API int wzlb_get_rmc_listen_settings(WzlbListenSettings *listen_ptr, char *wz_wdir,
                                        char *err_msg, int err_len);

WZ_END_DECLS

#endif
