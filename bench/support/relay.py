"""Relays between the clients and the servers of a sealed machine: they count what goes through, and can be far away."""
import asyncio
import socket
import struct
import threading
import time
from pathlib import Path

# Who is meant, host name, where its relay listens, where the server is.
HOSTS = (("service", "update.brovik.example", "127.0.1.2", "127.0.0.2"),
         ("packages", "download.brovik.example", "127.0.1.3", "127.0.0.3"),
         ("packages", "packages.brovik.example", "127.0.1.4", "127.0.0.2"))


class Relays:
    """Both servers behind relays for as long as it lives; every byte is one_way seconds late."""

    def __init__(self, one_way=0.0):
        self.one_way = one_way
        self.connections = {"service": [], "packages": []}  # of each: [bytes from the client, bytes to the client]
        self._loop = asyncio.new_event_loop()
        ready = threading.Event()
        self._thread = threading.Thread(target=self._serve, args=(ready,), daemon=True)
        self._thread.start()
        ready.wait()

    def __enter__(self):
        self._hosts = Path("/etc/hosts").read_text()
        text = "".join(f"{relay} {host}\n" for _, host, relay, _ in HOSTS)
        Path("/etc/hosts").write_text(text + self._hosts)
        return self

    def __exit__(self, *_):
        Path("/etc/hosts").write_text(self._hosts)
        self._loop.call_soon_threadsafe(self._loop.stop)
        self._thread.join()

    def forget(self):
        for connections in self.connections.values():
            connections.clear()

    def counted(self):
        """Of each server: connections, bytes from the clients, bytes to the clients."""
        return {name: {"connections": len(all_), "up": sum(up for up, _ in all_), "down": sum(down for _, down in all_)}
                for name, all_ in self.connections.items()}

    def _serve(self, ready):
        asyncio.set_event_loop(self._loop)
        servers = [self._loop.run_until_complete(asyncio.start_server(
            lambda reader, writer, name=name, server=server: self._relay(name, server, reader, writer), relay, 443))
            for name, _, relay, server in HOSTS]
        ready.set()
        self._loop.run_forever()
        for server in servers:
            server.close()
        tasks = asyncio.all_tasks(self._loop)
        for task in tasks:
            task.cancel()
        self._loop.run_until_complete(asyncio.gather(*tasks, return_exceptions=True))
        self._loop.close()

    async def _relay(self, name, server, reader, writer):
        count = [0, 0]
        self.connections[name].append(count)
        far_reader, far_writer = await asyncio.open_connection(server, 443)
        try:
            await asyncio.gather(self._pass_on(reader, far_writer, count, 0),
                                 self._pass_on(far_reader, writer, count, 1))
        except asyncio.CancelledError:
            pass  # the relays' end

    async def _pass_on(self, reader, writer, count, direction):
        under_way = asyncio.Queue()

        async def receive():
            data = b"begin"
            while data:
                try:
                    data = await reader.read(1 << 18)
                except ConnectionError:
                    data = None  # a reset, which is passed on
                count[direction] += len(data or b"")
                under_way.put_nowait((time.monotonic() + self.one_way, data))

        data = b""
        receiving = asyncio.ensure_future(receive())
        try:
            while True:
                due, data = await under_way.get()
                if (wait := due - time.monotonic()) > 0:
                    await asyncio.sleep(wait)
                if not data:
                    break
                writer.write(data)
                await writer.drain()
        except ConnectionError:
            pass  # gone, as either side may be at any time
        if data is None:
            writer.get_extra_info("socket").setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        writer.close()
        await receiving
