"""A client of another language, made of nothing but what the server says of itself: it asks the
standard reflection service for the interface and calls it over the UNIX socket named by the
first argument. Lists the directory of the second argument and prints the names it finds."""

import sys

import grpc
from google.protobuf import descriptor_pb2, descriptor_pool, message_factory


def reflection_classes():
    """The few messages of the reflection service, described here."""
    file = descriptor_pb2.FileDescriptorProto(
        name="r.proto", package="grpc.reflection.v1alpha", syntax="proto3")
    string, message, data = 9, 11, 12  # types of descriptor.proto

    def add(name, *fields):
        kind = file.message_type.add(name=name)
        for field, number, type_, label, of in fields:
            kind.field.add(name=field, number=number, type=type_, label=label,
                           type_name=of and ".grpc.reflection.v1alpha." + of)

    add("ServerReflectionRequest", ("file_containing_symbol", 4, string, 1, None),
        ("list_services", 7, string, 1, None))
    add("FileDescriptorResponse", ("file_descriptor_proto", 1, data, 3, None))
    add("ServiceResponse", ("name", 1, string, 1, None))
    add("ListServiceResponse", ("service", 1, message, 3, "ServiceResponse"))
    add("ServerReflectionResponse",
        ("file_descriptor_response", 4, message, 1, "FileDescriptorResponse"),
        ("list_services_response", 6, message, 1, "ListServiceResponse"))
    pool = descriptor_pool.DescriptorPool()
    pool.Add(file)
    return [message_class(pool, "grpc.reflection.v1alpha." + name)
            for name in ("ServerReflectionRequest", "ServerReflectionResponse")]


def message_class(pool, name):
    return message_factory.MessageFactory(pool).GetPrototype(pool.FindMessageTypeByName(name))


def ask(channel, **question):
    request, response = reflection_classes()
    call = channel.stream_stream(
        "/grpc.reflection.v1alpha.ServerReflection/ServerReflectionInfo",
        request_serializer=request.SerializeToString, response_deserializer=response.FromString)
    return next(call(iter([request(**question)])))


def interface(channel, symbol):
    pool = descriptor_pool.DescriptorPool()
    files = [descriptor_pb2.FileDescriptorProto.FromString(each)
             for each in ask(channel, file_containing_symbol=symbol)
             .file_descriptor_response.file_descriptor_proto]
    for file in reversed(files):  # what is imported comes after what imports it
        pool.Add(file)
    return pool


def main():
    channel = grpc.insecure_channel("unix:" + sys.argv[1])
    services = [each.name for each in ask(channel, list_services="*").list_services_response.service]
    assert "hoq.v1.Filer" in services, services
    pool = interface(channel, "hoq.v1.Filer")
    listing = channel.unary_stream(
        "/hoq.v1.Filer/List",
        request_serializer=message_class(pool, "hoq.v1.ListRequest").SerializeToString,
        response_deserializer=message_class(pool, "hoq.v1.FilerReply").FromString)
    request = message_class(pool, "hoq.v1.ListRequest")(
        context={"cwd": sys.argv[2].encode()}, paths=[b"."], fields=0x7FF)
    codes = []
    for reply in listing(request):
        for event in reply.events:
            for record in event.records.records:
                print(record.name.decode("utf-8", "backslashreplace"), record.size)
            if event.HasField("result"):
                codes.append(event.result.code)
    assert codes == [0], codes
    health = channel.unary_unary("/grpc.health.v1.Health/Check")
    assert health(b"") == b"\x08\x01", "SERVING"


main()
