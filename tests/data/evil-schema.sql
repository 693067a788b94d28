-- Objects of another user with the names that statements of a store use. Finding one of them is an error.
CREATE SCHEMA evil;
CREATE TABLE evil.settings (name text, value bigint);
CREATE TABLE evil.messages (id bigint);
INSERT INTO evil.settings VALUES ('schemaVersion', 9), ('transcriptionEnabled', 9);

DO $do$
DECLARE
    each text;
BEGIN
    FOREACH each IN ARRAY ARRAY[
        'unnest(bytea[]) RETURNS SETOF bytea', 'has_table_privilege(regclass, text) RETURNS boolean',
        'current_setting(varchar) RETURNS text', 'has_database_privilege(name, text) RETURNS boolean',
        'equal(text, text) RETURNS boolean', 'equal(name, name) RETURNS boolean',
        'equal(oid, oid) RETURNS boolean', 'equal(bigint, bigint) RETURNS boolean']
    LOOP
        EXECUTE 'CREATE FUNCTION evil.' || each || ' LANGUAGE plpgsql AS $$ BEGIN RAISE ''evil''; END $$';
    END LOOP;
    FOREACH each IN ARRAY ARRAY['text', 'name', 'oid', 'bigint'] LOOP
        EXECUTE format('CREATE OPERATOR evil.= (FUNCTION = evil.equal, LEFTARG = %s, RIGHTARG = %s)', each, each);
    END LOOP;
    FOREACH each IN ARRAY ARRAY[
        'search_path = evil, pg_catalog', 'standard_conforming_strings = off', 'client_encoding = LATIN1',
        'bytea_output = escape', 'extra_float_digits = -15', 'client_min_messages = debug1',
        'default_transaction_isolation = serializable']
    LOOP
        EXECUTE format('ALTER DATABASE %I SET %s', current_database(), each);
    END LOOP;
END $do$;
